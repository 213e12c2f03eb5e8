// Which block device a path leads to.
#pragma once

#include <sys/stat.h>

#include <string>

namespace tarnctl {

// Its number; 0 when there is no block device. Follows symbolic links.
inline dev_t deviceBehind(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

}  // namespace tarnctl
