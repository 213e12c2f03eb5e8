#include "device_discovery_base.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "process_semaphore.h"

namespace {

constexpr char kSource[] = "providers/device/scsitool/device_discovery_base";
constexpr key_t kRescanKey = 1001;
constexpr int kError = 1;
constexpr int kProgress = 3;
constexpr int kDetail = 6;
constexpr int kOwnDetail = 7;

// Of this process, made by its first rescan and, with the whole set, removed at its end.
ProcessSemaphore& rescanSemaphore() {
    static ProcessSemaphore semaphore(kRescanKey);
    return semaphore;
}

}  // namespace

CDeviceDiscoveryBase::CDeviceDiscoveryBase(const std::string& sysfsRoot) : discoveryManager_(sysfsRoot) {}

CDeviceDiscoveryBase::~CDeviceDiscoveryBase() = default;

void CDeviceDiscoveryBase::registerTraceLog(CFiSmartPtr<CFiTraceLog>& log) {
    CFiTraceable::registerTraceLog(static_cast<const CFiSmartPtr<CFiTraceLog>&>(log));
}

int CDeviceDiscoveryBase::removeDeadDevices(std::vector<CScsiDeviceData*>& devices, bool flushMaps) {
    int result = 0;
    std::erase_if(devices, [&](const CScsiDeviceData* device) {
        if (device->isGone && removeDevice(device->name) != 0) {
            result = 1;
        }
        return device->isGone;
    });
    if (flushMaps && FlushMultipathStaleDevices() != 0) {
        result = 1;
    }
    return result;
}

int CDeviceDiscoveryBase::removeDevice(const std::string& name) {
    int result = 1;
    for (const auto& [key, device] : records_) {
        if (device->name != name) {
            continue;
        }
        const std::string folder = "class/scsi_device/" + device->address.text() + "/device/";
        const bool isThere = sysfs().has(folder + "block/" + name.substr(name.rfind('/') + 1));
        const int error = isThere ? sysfs().write(folder + "delete", "1") : 0;
        if (error == 0) {
            result = 0;
        } else {
            say(kOwnDetail, "libscsitool: disk %s at %s could not be removed: %s", name.c_str(),
                device->address.text().c_str(), std::strerror(error));
            return error;
        }
    }
    return result;
}

int CDeviceDiscoveryBase::FlushMultipathStaleDevices() {
    return discoveryManager_.flushStaleMaps();
}

std::vector<CScsiDeviceData*> CDeviceDiscoveryBase::rescan(bool rescanHosts, bool hostOption, bool deadDeviceOption) {
    const CFiTraceLogFunction scope(traceLog(), "rescan", __LINE__, kSource);
    std::vector<CScsiDeviceData*> devices;
    const ProcessSemaphore::Hold lock = rescanSemaphore().acquire();
    if (!lock) {
        say(kError, "libscsitool: ERROR: CDeviceDiscoveryBase::rescan() goes on without the lock: %s.",
            std::strerror(lock.error()));
    }
    say(kProgress, "libscsitool: Info: CDeviceDiscoveryBase::rescan().");
    say(kProgress, "Acquring lock .");
    say(kProgress, "Got the lock .");
    try {
        rescanLocked(devices, rescanHosts, hostOption, deadDeviceOption);
    } catch (...) {
        say(kError, "libscsitool: ERROR: CDeviceDiscoveryBase::rescan() failed.");
    }
    say(kProgress, "Releasing the lock .");
    say(kProgress, "libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.");
    return devices;
}

void CDeviceDiscoveryBase::rescanLocked(std::vector<CScsiDeviceData*>& devices, bool rescanHosts, bool hostOption,
                                        bool deadDeviceOption) {
    if (rescanHosts) {
        rescanHostBuses(hostOption);
        discoveryManager_.rescan();
    }
    devices = listDevices();
    refreshOrRemove(devices);
    if (rescanHosts) {
        removeDeadDevices(devices, deadDeviceOption);
    } else if (FlushMultipathStaleDevices() != 0) {
        say(kError, "ERROR: unable to invoke the command to flush multipath stale device paths");
    }
}

void CDeviceDiscoveryBase::refreshOrRemove(const std::vector<CScsiDeviceData*>& devices) {
    for (CScsiDeviceData* device : devices) {
        say(kDetail, "libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk %s.", device->name.c_str());
        if (UpdateDevice(device) != 0) {
            say(kProgress, "libscsitool: Info: CDeviceDiscoveryBase::rescan FAILED - Remove disk %s.",
                device->name.c_str());
            removeDevice(device->name);
        }
    }
}

std::vector<CScsiDeviceData*> CDeviceDiscoveryBase::validateDevice(std::string deviceName) {
    const CFiTraceLogFunction scope(traceLog(), "validateDevice", __LINE__, kSource);
    std::vector<CScsiDeviceData*> devices;
    try {
        devices = listDevicesByName(std::move(deviceName));
        for (CScsiDeviceData* device : devices) {
            if (UpdateDevice(device) != 0) {
                say(kProgress, "libscsitool: Info: CDeviceDiscoveryBase:: validateDevice FAILED - Remove disk %s.",
                    device->name.c_str());
            }
        }
    } catch (...) {
        say(kError, "libscsitool: ERROR: CDeviceDiscoveryBase:: validateDevice() failed.");
    }
    return devices;
}

CScsiDeviceData* CDeviceDiscoveryBase::keep(const CScsiAddress& address, const std::string& name) {
    auto& record = records_[{address, name}];
    if (record == nullptr) {
        record = std::make_unique<CScsiDeviceData>();
        record->address = address;
        record->name = name;
    }
    return record.get();
}

void CDeviceDiscoveryBase::say(int level, const char* format, ...) const {
    if (!traceLog() || !CFiTraceLog::isEnabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length >= 0) {
        const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
        traceLog()->trace(level, "%s", owned.get());
    }
}
