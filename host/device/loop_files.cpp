#include "host/device/loop_files.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "host/freeze/owned_fd.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

// The kernel's path of the file is good enough here: it only tells a device from a file.
dev_t deviceAt(const fs::path& backingFile) {
    std::ifstream in(backingFile);
    std::string path;
    struct stat status {};
    const bool isBlock = std::getline(in, path) && ::stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
    return isBlock ? status.st_rdev : 0;
}

}  // namespace

std::vector<LoopFile> loopFiles(const std::string& sysfs) {
    std::vector<LoopFile> found;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(sysfs) / "block", error)) {
        const fs::path backing = entry.path() / "loop/backing_file";
        std::error_code ignored;
        if (!fs::exists(backing, ignored)) {
            continue;
        }
        const std::string name = "/dev/" + entry.path().filename().native();
        const OwnedFd opened(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat status {};
        loop_info64 info{};
        if (opened && ::fstat(opened.get(), &status) == 0 && ::ioctl(opened.get(), LOOP_GET_STATUS64, &info) == 0) {
            found.push_back({name, status.st_rdev, info.lo_device, info.lo_inode, deviceAt(backing)});
        }
    }
    return found;
}

}  // namespace tarnctl
