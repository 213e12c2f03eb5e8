// What a step of the road left behind and how to find it again: the undo data in the catalog, one shape per step.
// Written before the act, so every name in it is known beforehand.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "host/catalog/records.h"
#include "host/report/failure.h"

namespace tarnctl {

// The steps, by the name under which they stand in the catalog, in the order in which they happen.
namespace step {
inline constexpr const char* kPrepare = "prepare";  // the volume provider reserves the snapshot
inline constexpr const char* kFreeze = "freeze";    // the window: these three are one intent
inline constexpr const char* kMake = "make";
inline constexpr const char* kThaw = "thaw";
inline constexpr const char* kMount = "mount";  // the snapshot at its alternate name
}  // namespace step

// Of kPrepare and kMake.
struct VolumeUndo {
    std::string provider;
    std::string device;  // the origin's
};

// Of kFreeze.
struct FreezeUndo {
    std::string mountPoint;
    std::string fsType;
    std::uint64_t fsDevice = 0;  // device number of the frozen file system
};

// A directory that was there before the road, so that it is there after it.
struct KeptDirectory {
    mode_t mode = 0;
    uid_t uid = 0;
    gid_t gid = 0;
};

// Of kMount.
struct MountUndo {
    std::string provider;
    std::string origin;
    std::string alternate;
    std::string snapshotDevice;
    std::optional<KeptDirectory> directory;  // the empty one that the mount point was before
};

StepIntent intentOf(const char* name, const VolumeUndo& undo);
StepIntent intentOf(const char* name, const FreezeUndo& undo);
StepIntent intentOf(const char* name, const MountUndo& undo);

// kFailed for a text that is no such undo data.
Result<VolumeUndo> volumeUndoOf(const StepRecord& step);
Result<FreezeUndo> freezeUndoOf(const StepRecord& step);
Result<MountUndo> mountUndoOf(const StepRecord& step);

}  // namespace tarnctl
