#include "host/mounts/device_users.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "host/mounts/mount_table.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

constexpr auto kBetweenLooks = std::chrono::milliseconds(20);

// Empty: nobody.
using User = std::string;

User mountedTwice(const MountTable& table, const MountEntry& ours) {
    for (const MountEntry* other : table.ofDevice(ours.device)) {
        if (other->id != ours.id) {
            return "it is mounted at " + other->point + ", too";
        }
    }
    return {};
}

std::string linkOf(const fs::path& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    return {target.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

// Processes come and go while one looks.
std::vector<fs::path> processes() {
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        if (entry->path().filename().native().find_first_not_of("0123456789") == std::string::npos) {
            found.push_back(entry->path());
        }
    }
    return found;
}

// Whether an unmount below `ours` spreads to the mounts below `theirs`: they are peers, or it receives from us.
bool isSpreadTo(const MountEntry& ours, const MountEntry& theirs) {
    std::istringstream words(ours.propagation);
    for (std::string word; words >> word;) {
        if (!word.starts_with("shared:")) {
            continue;
        }
        const std::string group = word.substr(word.find(':'));
        std::istringstream others(theirs.propagation);
        for (std::string other; others >> other;) {
            if (other == "shared" + group || other == "master" + group) {
                return true;
            }
        }
    }
    return false;
}

User mountedInOtherNamespace(const MountTable& table, const MountEntry& ours) {
    const MountEntry* parent = table.withId(ours.parentId);
    std::set<std::string> seen{linkOf("/proc/self/ns/mnt")};
    for (const fs::path& process : processes()) {
        const std::string space = linkOf(process / "ns/mnt");
        if (space.empty() || !seen.insert(space).second) {
            continue;
        }
        auto theirs = MountTable::readFrom(process / "mountinfo");
        if (!theirs) {
            continue;  // it has just ended
        }
        for (const MountEntry* mount : theirs->ofDevice(ours.device)) {
            const MountEntry* below = theirs->withId(mount->parentId);
            if (parent == nullptr || below == nullptr || !isSpreadTo(*parent, *below)) {
                return fmt::format("it is mounted at {} in the mount name space of process {}, too", mount->point,
                                   process.filename().native());
            }
        }
    }
    return {};
}

User heldByDevice(const std::string& device) {
    std::error_code error;
    const fs::path holders = "/sys/class/block" / fs::path(device).filename() / "holders";
    for (fs::directory_iterator entry(holders, error), end; !error && entry != end; entry.increment(error)) {
        return "it is part of " + entry->path().filename().native();
    }
    return {};
}

User heldOpen(const std::string& device) {
    for (const fs::path& process : processes()) {
        std::error_code error;
        for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end; entry.increment(error)) {
            if (linkOf(entry->path()) == device) {
                return fmt::format("process {} holds {} open", process.filename().native(), device);
            }
        }
    }
    return {};
}

User otherUser(const std::string& device, const MountTable& table, const MountEntry& ours) {
    User user = mountedTwice(table, ours);
    user = user.empty() ? mountedInOtherNamespace(table, ours) : user;
    user = user.empty() ? heldByDevice(device) : user;
    return user.empty() ? heldOpen(device) : user;
}

}  // namespace

Status refuseOtherUsers(const std::string& device, const std::string& point, std::chrono::milliseconds patience) {
    for (const auto until = std::chrono::steady_clock::now() + patience;;) {
        auto table = MountTable::read();
        if (!table) {
            return table.failure();
        }
        struct stat node {};
        const MountEntry* ours = table->visibleAt(point);
        if (ours == nullptr || ::stat(device.c_str(), &node) != 0 || ours->device != node.st_rdev) {
            return Done{};
        }
        const User user = otherUser(device, *table, *ours);
        if (user.empty()) {
            return Done{};
        }
        if (std::chrono::steady_clock::now() >= until) {
            return Failure{ExitCode::kBusy, "check that nobody else uses the snapshot", point, user};
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

}  // namespace tarnctl
