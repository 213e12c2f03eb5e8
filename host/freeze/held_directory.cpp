#include "host/freeze/held_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <system_error>

namespace tarnctl {
namespace {

Failure refusal(ExitCode code, const std::string& path, std::string cause) {
    return Failure{.code = code, .operation = "open the mount point", .subject = path, .cause = std::move(cause)};
}

ExitCode codeOf(int error) {
    switch (error) {
        case ENOENT:
            return ExitCode::kNotFound;
        case ENOTDIR:
        case ELOOP:
            return ExitCode::kUnsupported;
        default:
            return ExitCode::kFailed;
    }
}

// A trailing slash would make the kernel follow a link in spite of O_NOFOLLOW.
std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

}  // namespace

Result<HeldDirectory> HeldDirectory::open(const std::string& mountPoint) {
    std::string path = withoutTrailingSlashes(mountPoint);
    if (path.empty() || path.front() != '/') {
        return refusal(ExitCode::kUsage, path, "a mount point must be given as an absolute path");
    }
    OwnedFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOATIME | O_CLOEXEC | O_NOFOLLOW));
    if (!fd) {
        const int error = errno;
        return refusal(codeOf(error), path, std::generic_category().message(error));
    }
    struct statx status {};
    if (statx(fd.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) != 0) {
        return refusal(ExitCode::kFailed, path, std::generic_category().message(errno));
    }
    if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0) {
        return refusal(ExitCode::kUnsupported, path, "this kernel does not tell mount points apart (5.8 does)");
    }
    if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0) {
        return refusal(ExitCode::kUnsupported, path, "not a mount point");
    }
    return HeldDirectory(std::move(fd), std::move(path), makedev(status.stx_dev_major, status.stx_dev_minor));
}

}  // namespace tarnctl
