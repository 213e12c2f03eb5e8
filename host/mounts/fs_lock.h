// One snapshot at a time on one file system, and one tarnctl at a time on one snapshot.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "host/report/failure.h"

namespace tarnctl {

// Root's own folder on a memory file system: device numbers mean nothing after a boot, and neither do these locks. Not
// beside the catalog, because two catalogs may watch the same file system, and not on the mount point itself, because
// every user who may read a directory may lock it, and an open mount point cannot be unmounted.
inline constexpr const char* kDefaultLockFolder = "/run/tarnfi";

// An advisory lock of the kernel on a small file named by the file system's device number. It ends with the last
// descriptor: when it is destroyed, when the process dies in any way, and (wanted) not before a guard process forked
// from this one ended. Programs executed from here do not inherit it. Move-only; one thread at a time.
class FsLock {
  public:
    // Never waits. kBusy when another tarnctl works on the file system, its process id in the cause; kFailed when the
    // folder or file cannot be made, or others than its owner (us or root) may write to it. `subject` is what the
    // failure names: the mount point.
    static Result<FsLock> take(dev_t fileSystem, const std::string& subject,
                               const std::string& folder = kDefaultLockFolder);

    // The same for a snapshot: whoever mounts, unmounts, exports or deletes it. snapshotId: in the form of such an id.
    static Result<FsLock> takeForSnapshot(const std::string& snapshotId,
                                          const std::string& folder = kDefaultLockFolder);
    // The same for a mount point where nothing is mounted yet. Two names may, very rarely, share one lock.
    static Result<FsLock> takeForPlace(const std::string& mountPoint, const std::string& folder = kDefaultLockFolder);
    // Removes the lock's file, when nobody will need it again. The lock is held on.
    void discard();

    FsLock(FsLock&& other) noexcept;
    FsLock& operator=(FsLock&& other) noexcept;
    FsLock(const FsLock&) = delete;
    FsLock& operator=(const FsLock&) = delete;
    ~FsLock();

    // For a child that must not keep the lock. The descriptor stays ours.
    int descriptor() const { return descriptor_; }

  private:
    FsLock(int descriptor, std::string file) : descriptor_(descriptor), file_(std::move(file)) {}
    static Result<FsLock> takeNamed(const std::string& name, const std::string& subject, const std::string& folder);
    static Result<FsLock> takeFile(const std::string& file, const std::string& subject);
    bool isAtItsName() const;

    int descriptor_ = -1;
    std::string file_;
};

}  // namespace tarnctl
