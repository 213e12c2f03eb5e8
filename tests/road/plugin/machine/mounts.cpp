#include "mounts.h"

#include <sys/mount.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "kernel_freeze.h"

namespace road {

std::vector<Mount> mounts() {
    std::vector<Mount> found;
    std::ifstream table("/proc/self/mounts");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        Mount mount;
        std::string options;
        fields >> mount.device >> mount.point >> mount.type >> options;
        std::istringstream words(options);
        for (std::string word; std::getline(words, word, ',');) {
            mount.options.insert(word);
        }
        found.push_back(mount);
    }
    return found;
}

std::optional<Mount> mountAt(const std::string& point) {
    std::optional<Mount> last;
    for (const Mount& mount : mounts()) {
        if (mount.point == point) {
            last = mount;
        }
    }
    return last;
}

bool isMounted(const std::string& point) {
    return mountAt(point).has_value();
}

void unmountAll(const std::string& point) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (isMounted(point)) {
        thaw(point);
        if (umount2(point.c_str(), 0) != 0) {
            if (errno != EBUSY || std::chrono::steady_clock::now() > limit) {
                umount2(point.c_str(), MNT_DETACH);
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
}

}  // namespace road
