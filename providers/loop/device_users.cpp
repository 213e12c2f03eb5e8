#include "device_users.h"

#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "file_identity.h"

namespace loopfi {
namespace {

// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
struct MountLine {
    std::string device;
    std::string point;
    std::string superOptions;
};

MountLine parse(const std::string& line) {
    MountLine mount;
    std::istringstream words(line);
    std::string skipped;
    words >> skipped >> skipped >> mount.device >> skipped >> mount.point;
    for (std::string word; words >> word && word != "-";) {
    }
    words >> skipped >> skipped >> mount.superOptions;
    return mount;
}

}  // namespace

DeviceUsers usersOf(dev_t device) {
    const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
    DeviceUsers users;
    std::ifstream table("/proc/self/mountinfo");
    if (!table) {
        throwErrno("read /proc/self/mountinfo");
    }
    for (std::string line; std::getline(table, line);) {
        const MountLine mount = parse(line);
        if (mount.device == number) {
            users.mountedAt = users.mountedAt.empty() ? mount.point : users.mountedAt;
            users.isWritten = users.isWritten || mount.superOptions == "rw" || mount.superOptions.starts_with("rw,");
        }
    }
    std::error_code error;
    for (const auto& holder : std::filesystem::directory_iterator("/sys/dev/block/" + number + "/holders", error)) {
        users.above = holder.path().filename();
    }
    return users;
}

}  // namespace loopfi
