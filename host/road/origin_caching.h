// Around the freeze, where it is asked for or the origin cannot be frozen: its write caching off, and on again.
#pragma once

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

Status switchCachingOff(SnapshotInMaking& making);

// The snapshot is made: what fails here is told beside it, as a warning, and tried again by delete.
Status switchCachingOn(SnapshotInMaking& making);

}  // namespace tarnctl
