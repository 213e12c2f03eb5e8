// The second stretch of the road: the snapshot comes into being as a record, and as a reservation of the volume layer.
#pragma once

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

// From here on the snapshot has an id, by which everything of it can be undone.
Status recordSnapshot(SnapshotInMaking& making);

// preselect, select and prepare of both nodes. What the volume layer reserves is intended before it does.
Status reserveSnapshot(SnapshotInMaking& making);

}  // namespace tarnctl
