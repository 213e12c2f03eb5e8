#include "new_disks.h"

#include <algorithm>
#include <thread>

#include "scsi_device_data.h"

namespace {

constexpr char kDevices[] = "class/scsi_device";
constexpr std::chrono::milliseconds kPause{10};

}  // namespace

NewDisks::NewDisks(const SysfsTree& sysfs) : sysfs_(sysfs) {
    const std::vector<std::string> present = sysfs.entries(kDevices);
    known_.insert(present.begin(), present.end());
}

std::vector<std::string> NewDisks::await(std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<std::string> waitedFor = nameless();
    while (!waitedFor.empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kPause);
        waitedFor = nameless();
    }
    return waitedFor;
}

std::vector<std::string> NewDisks::nameless() const {
    std::vector<std::string> addresses;
    for (const std::string& entry : sysfs_.entries(kDevices)) {
        const std::string folder = std::string(kDevices) + '/' + entry + "/device/";
        if (known_.contains(entry) || !CScsiAddress::parse(entry) || !isDiskType(sysfs_.read(folder + "type"))) {
            continue;
        }
        // The queue's attributes are the last of those that are read later.
        const std::vector<std::string> blocks = sysfs_.entries(folder + "block");
        if (std::ranges::none_of(
                blocks, [&](const std::string& name) { return sysfs_.has(folder + "block/" + name + "/queue"); })) {
            addresses.push_back(entry);
        }
    }
    return addresses;
}
