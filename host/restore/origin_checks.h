// What must hold before the users of a file system are ended or it is unmounted for a restore: everything that an
// unmount would only find out in the middle, or that ending processes would not help. Reads only, apart from the proof
// that the file system is not frozen. One thread.
#pragma once

#include "host/catalog/catalog.h"
#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

// kBusy: mounts below the origin; images of loop devices, swap files or layers of an overlay on it; exported by NFS;
// mounted elsewhere, here or in another mount name space; its device part of another one or held open. kUnsupported:
// one of our own files, or with `isForced` a process that we descend from, is on it (ending its users would end us);
// options that a command would split. kBusy: frozen by somebody. Before the caller leaves its working directory.
Status refuseUnmountable(const MountTable& table, const MountEntry& origin, const Catalog& catalog, bool isForced);

// The command that ends users, where it is run from: kUnsupported with what to do when it is not there.
Status refuseWithoutFuser();

}  // namespace tarnctl
