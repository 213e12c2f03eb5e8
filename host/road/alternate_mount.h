// The last stretch of the road: the volume layer's snapshot is handed to the file-system layer and mounted.
#pragma once

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

// The volume layer's snapshot becomes the file-system layer's: its session learns the device's name, and its make
// answers the object id.
Status handOver(SnapshotInMaking& making);

// build_alttree, with the origin's restrictions (nosuid and its like) on the copy.
Status mountAlternate(SnapshotInMaking& making);

// The node of the copy, with its provider's state in the catalog.
Status initAlternate(SnapshotInMaking& making);

}  // namespace tarnctl
