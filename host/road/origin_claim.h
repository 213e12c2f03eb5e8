// The first stretch of the road: the origin and what lies below it, looked at and claimed. Nothing is touched yet.
#pragma once

#include <string>

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

// The mount point, its lock, its directory, and the name where the snapshot will be mounted.
Status lookAt(SnapshotInMaking& making, const std::string& path);

// The nodes of the file system and of the device below it. Where the kernel cannot freeze the type, the volume provider
// has to cut atomically: kUnsupported where it does not say so.
Status claimNodes(SnapshotInMaking& making);

// kUnsupported or kBusy when something that we need meanwhile lies on the file system that is to be frozen.
Status refuseUnsafe(SnapshotInMaking& making);

}  // namespace tarnctl
