// Write caching off around a snapshot: the file system is remounted with sync before it and without afterwards, so that
// what a program was told is written is in the volume when that is cut.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/mounts/mount_table.h"
#include "host/provider/node.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

// Is it a type that the kernel has no freeze for, though providers claim it? Those on another machine's disk, and
// jffs2. Their snapshots can only be as after a crash.
bool cannotBeFrozen(std::string_view type);

// What undoing has to know, taken before anything is changed.
SyncUndo syncUndoOf(const Node& fileSystem, const MountEntry& origin);

// Remounts with sync, by the provider, and looks whether it is so. After a failure it may be, or be about to be: undo.
Status writeThrough(Node& fileSystem, const SyncUndo& undo);

// Makes it again what it was: nothing where it had sync before, has none now, or is not mounted there any more; else by
// the provider, and where that leaves it, by the host itself. The node has the private data of before. Answers what
// went wrong on the way (a failed command, other options than before), fails where it still is sync.
Result<std::vector<std::string>> writeBackAgain(Node& fileSystem, const SyncUndo& undo);

}  // namespace tarnctl
