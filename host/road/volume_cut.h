// The middle of the road: the volume layer makes its snapshot, of a file system that stands still, or at one instant of
// one that does not.
#pragma once

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

// The intent is in the catalog before the file system is frozen, the outcome after it is thawed; nothing in between.
// kMayBeFrozen names the thaw command.
Status cutVolume(SnapshotInMaking& making);

}  // namespace tarnctl
