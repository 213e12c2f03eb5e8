// The mount point that is going to be frozen, held open by its directory. Freeze, thaw and proof go through the held
// descriptor, so they reach the same superblock even when the path is renamed, over-mounted or replaced meanwhile.
// While it is held, umount of the file system fails with EBUSY; a forced unmount by killing users would hit the holder.
#pragma once

#include <sys/types.h>

#include <string>

#include "host/freeze/owned_fd.h"
#include "host/report/failure.h"

namespace tarnctl {

class HeldDirectory {
  public:
    // Opens an absolute path read-only, without following a link in its last component and without touching the access
    // time. Fails with kNotFound where nothing is there, kUnsupported where it is no directory or not the root of a
    // mount, kFailed otherwise (EPERM: O_NOATIME needs the owner or CAP_FOWNER). Thread-safe.
    static Result<HeldDirectory> open(const std::string& mountPoint);

    HeldDirectory(HeldDirectory&&) noexcept = default;
    HeldDirectory& operator=(HeldDirectory&&) noexcept = default;

    // Stays owned by this object; close-on-exec.
    int fd() const { return fd_.get(); }
    // As given, without trailing slashes.
    const std::string& path() const { return path_; }
    // Device number of the file system: two directories with the same one are frozen together.
    dev_t device() const { return device_; }

  private:
    HeldDirectory(OwnedFd fd, std::string path, dev_t device)
        : fd_(std::move(fd)), path_(std::move(path)), device_(device) {}

    OwnedFd fd_;
    std::string path_;
    dev_t device_ = 0;
};

}  // namespace tarnctl
