// What a step of the road left behind and how to find it again: the undo data in the catalog, one shape per step.
// Written before the act, so every name in it is known beforehand.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "host/catalog/records.h"
#include "host/mounts/preflight.h"
#include "host/report/failure.h"
#include "host/road/restrict_mount.h"

namespace tarnctl {

// The steps, by the name under which they stand in the catalog, in the order in which they happen.
namespace step {
inline constexpr const char* kPrepare = "prepare";  // the volume provider reserves the snapshot
inline constexpr const char* kSync = "sync";        // the origin is mounted with sync meanwhile
inline constexpr const char* kFreeze = "freeze";    // the window: these three are one intent
inline constexpr const char* kMake = "make";
inline constexpr const char* kThaw = "thaw";
inline constexpr const char* kMount = "mount";  // the snapshot at its alternate name
// Of a snapshot that is unmounted and mounted again, or comes from another host.
inline constexpr const char* kImport = "import";  // what the other host said of it; nothing to undo
inline constexpr const char* kAttach = "attach";  // the snapshot's file becomes a device again
inline constexpr const char* kUmount = "umount";  // mount and attachment are being taken away; nothing to undo
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

// Of kSync.
struct SyncUndo {
    std::string provider;
    std::string mountPoint;
    std::uint64_t fsDevice = 0;  // device number of the file system
    std::string options;         // as the kernel listed them before
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
    Restrictions restrictions{};             // of the mount; all of them where a record does not tell
};

// What lies in a device, as its superblock says.
struct Superblock {
    std::string type;  // "xfs", "ext4"
    std::string uuid;  // empty: not known
};

// Of kAttach.
struct AttachUndo {
    std::string provider;
    std::string node;       // the name under which the provider knows the snapshot's origin
    std::string reference;  // by which it finds the device
};

// Of kImport. Nothing of it is undone: it is what is known of the snapshot from elsewhere.
struct ImportFacts {
    std::string id;    // in the catalog of the other host
    std::string host;  // its name
    std::string file;  // on this host; not ours to delete
    Superblock superblock;
    Restrictions restrictions{};
};

// The directory at an alternate name that is there already.
std::optional<KeptDirectory> keptDirectory(const AlternateName& name);

StepIntent intentOf(const char* name, const VolumeUndo& undo);
StepIntent intentOf(const char* name, const FreezeUndo& undo);
StepIntent intentOf(const char* name, const SyncUndo& undo);
StepIntent intentOf(const char* name, const MountUndo& undo);
StepIntent intentOf(const char* name, const AttachUndo& undo);
StepIntent intentOf(const char* name, const ImportFacts& facts);
// Of kUmount: what was in the device before it was detached.
StepIntent intentOf(const char* name, const Superblock& superblock);

// kFailed for a text that is no such undo data.
Result<VolumeUndo> volumeUndoOf(const StepRecord& step);
Result<FreezeUndo> freezeUndoOf(const StepRecord& step);
Result<SyncUndo> syncUndoOf(const StepRecord& step);
Result<MountUndo> mountUndoOf(const StepRecord& step);
Result<AttachUndo> attachUndoOf(const StepRecord& step);
Result<ImportFacts> importFactsOf(const StepRecord& step);
Result<Superblock> superblockOf(const StepRecord& step);

}  // namespace tarnctl
