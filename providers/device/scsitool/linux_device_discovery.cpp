#include "linux_device_discovery.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>

#include "new_disks.h"

namespace {

constexpr int kDetail = 7;
constexpr int kDeepestMap = 8;
constexpr std::chrono::seconds kLongestForNewDisks{2};
constexpr char kDevices[] = "class/scsi_device";
constexpr char kHosts[] = "class/scsi_host";

std::string lastName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

CLinuxDeviceDiscovery::CLinuxDeviceDiscovery(const std::string& sysfsRoot, const std::string& deviceRoot)
    : CScsiTool(sysfsRoot, deviceRoot), CDeviceDiscoveryBase(sysfsRoot) {}

int CLinuxDeviceDiscovery::UpdateDevice(CScsiDeviceData* device) {
    const int result = CScsiToolBase::UpdateDevice(device);
    if (device != nullptr && !device->unanswered.empty()) {
        say(kDetail, "libscsitool: disk %s could not be asked: %s", device->name.c_str(), device->unanswered.c_str());
    }
    return result;
}

std::vector<CScsiDeviceData*> CLinuxDeviceDiscovery::listDevices() {
    std::vector<CScsiDeviceData*> devices;
    for (const std::string& entry : sysfs().entries(kDevices)) {
        const auto address = CScsiAddress::parse(entry);
        const std::string folder = std::string(kDevices) + '/' + entry + "/device/";
        if (!address || !isDiskType(sysfs().read(folder + "type"))) {
            continue;
        }
        for (const std::string& block : sysfs().entries(folder + "block")) {
            devices.push_back(keep(*address, "/dev/" + block));
        }
    }
    std::ranges::sort(devices, {}, &CScsiDeviceData::address);
    return devices;
}

std::vector<CScsiDeviceData*> CLinuxDeviceDiscovery::listDevicesByName(std::string deviceName) {
    const std::string_view name(deviceName);
    const std::string below(name.starts_with("/dev/") ? name.substr(5) : name);
    std::error_code isNoLink;
    const std::string target = std::filesystem::canonical(deviceRoot() + '/' + below, isNoLink);
    const std::vector<std::string> wanted = disksBelow(lastName(isNoLink ? below : target), 0);
    std::vector<CScsiDeviceData*> devices = listDevices();
    std::erase_if(devices, [&](const CScsiDeviceData* device) {
        return std::ranges::find(wanted, lastName(device->name)) == wanted.end();
    });
    return devices;
}

// Maps may lie on maps (a volume on a multipath map).
std::vector<std::string> CLinuxDeviceDiscovery::disksBelow(const std::string& block, int depth) const {
    const std::vector<std::string> slaves = sysfs().entries("block/" + block + "/slaves");
    if (slaves.empty() || depth == kDeepestMap) {
        return {block};
    }
    std::vector<std::string> disks;
    for (const std::string& slave : slaves) {
        const std::vector<std::string> lower = disksBelow(slave, depth + 1);
        disks.insert(disks.end(), lower.begin(), lower.end());
    }
    return disks;
}

int CLinuxDeviceDiscovery::rescanHostBuses(bool allHosts) {
    std::set<std::string> used;
    for (const std::string& entry : sysfs().entries(kDevices)) {
        if (const auto address = CScsiAddress::parse(entry)) {
            used.insert("host" + std::to_string(address->host));
        }
    }
    int result = 0;
    const NewDisks newDisks(sysfs());
    for (const std::string& host : sysfs().entries(kHosts)) {
        if (!allHosts && !used.contains(host)) {
            continue;
        }
        // Wildcards for channel, target and unit.
        const int error = sysfs().write(std::string(kHosts) + '/' + host + "/scan", "- - -");
        if (error != 0) {
            say(kDetail, "libscsitool: %s could not be scanned: %s", host.c_str(), std::strerror(error));
            result = error;
        }
    }
    for (const std::string& address : newDisks.await(kLongestForNewDisks)) {
        say(kDetail, "libscsitool: the disk at %s has no block device yet and is not waited for any longer",
            address.c_str());
    }
    return result;
}
