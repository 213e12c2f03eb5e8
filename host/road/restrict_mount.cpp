#include "host/road/restrict_mount.h"

#include <fcntl.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>

namespace tarnctl {

Status restrictLike(const MountEntry& origin, const std::string& point) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    if (origin.noSuid) {
        attributes.attr_set |= MOUNT_ATTR_NOSUID;
    }
    if (origin.noDev) {
        attributes.attr_set |= MOUNT_ATTR_NODEV;
    }
    if (origin.noExec) {
        attributes.attr_set |= MOUNT_ATTR_NOEXEC;
    }
    if (::mount_setattr(AT_FDCWD, point.c_str(), AT_SYMLINK_NOFOLLOW, &attributes, sizeof attributes) != 0) {
        return Failure{ExitCode::kFailed, "restrict the alternate mount", point, std::strerror(errno)};
    }
    return Done{};
}

}  // namespace tarnctl
