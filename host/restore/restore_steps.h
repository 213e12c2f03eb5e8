// The steps of a restore, which stand behind those of the snapshot in its record, with what is needed to finish them:
// in this process or in a later one. A restore is taken back only as long as it has written nothing; from then on the
// one way out is to finish it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/catalog/catalog.h"
#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

namespace step {
inline constexpr const char* kDisable = "disable";  // the origin is unmounted; undone: it is mounted again
inline constexpr const char* kRestore = "restore";  // intended: half written, as far as anybody knows
}  // namespace step

// Of kDisable: how the origin was mounted.
struct DisableUndo {
    std::string provider;
    std::string mountPoint;
    std::string device;
    std::string fsType;
    std::uint64_t fsDevice = 0;  // device number of the file system
    std::string state;           // the provider's state of the node: what it mounts again by
    std::string options;         // of the mount, as the kernel listed them
    std::string superOptions;    // of the file system
};

// Of kRestore.
struct RestoreUndo {
    std::string provider;  // of the volume layer
    std::string device;    // the origin's, as it was recorded with the snapshot
    std::string snapshotDevice;
    std::string despite;  // why a broken snapshot was restored all the same; else empty
};

StepIntent intentOf(const DisableUndo& undo);
StepIntent intentOf(const RestoreUndo& undo);
// kFailed for a text that is no such undo data.
Result<DisableUndo> disableUndoOf(const StepRecord& step);
Result<RestoreUndo> restoreUndoOf(const StepRecord& step);

// What a restore that came to no end left in the record. Neither: there is none.
struct UnfinishedRestore {
    std::optional<StepRecord> disable;  // intended or done: the origin may have to be mounted again
    std::optional<StepRecord> restore;  // intended: the origin is half written
    bool isWritten = false;             // whole since it was unmounted: only mounting it is left

    explicit operator bool() const { return disable.has_value() || restore.has_value(); }
};

Result<UnfinishedRestore> unfinishedRestoreOf(const Catalog& catalog, const std::string& snapshotId);

}  // namespace tarnctl
