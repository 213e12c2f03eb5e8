#include "host/road/restrict_mount.h"

#include <fcntl.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>

namespace tarnctl {

Restrictions restrictionsOf(const MountEntry& origin) {
    return {origin.noSuid, origin.noDev, origin.noExec};
}

Status restrictMount(const Restrictions& restrictions, const std::string& point) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    if (restrictions.noSuid) {
        attributes.attr_set |= MOUNT_ATTR_NOSUID;
    }
    if (restrictions.noDev) {
        attributes.attr_set |= MOUNT_ATTR_NODEV;
    }
    if (restrictions.noExec) {
        attributes.attr_set |= MOUNT_ATTR_NOEXEC;
    }
    if (::mount_setattr(AT_FDCWD, point.c_str(), AT_SYMLINK_NOFOLLOW, &attributes, sizeof attributes) != 0) {
        return Failure{ExitCode::kFailed, "restrict the alternate mount", point, std::strerror(errno)};
    }
    return Done{};
}

}  // namespace tarnctl
