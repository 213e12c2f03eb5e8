#include "host/device/format_device.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/device/device_use.h"
#include "host/device/format_options.h"
#include "host/device/signatures.h"
#include "host/mounts/mount_table.h"
#include "host/report/system_failure.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"

namespace tarnctl {
namespace {

constexpr int kCarryOut = 0x1;
constexpr std::string_view kTestMounts = "/tmp_";  // where the provider mounts a new file system once

// mkfs itself, and where it looks for the program of a type.
Status checkPrograms(const std::string& device, const std::string& type) {
    if (::access("/sbin/mkfs", X_OK) != 0) {
        return systemFailure(ExitCode::kUnsupported, "format", device, "/sbin/mkfs", errno);
    }
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        if (::access((folder + ("mkfs." + type)).c_str(), X_OK) == 0) {
            return Done{};
        }
    }
    return Failure{ExitCode::kUnsupported, "format", device,
                   fmt::format("mkfs.{} is not installed on this machine", type)};
}

// From now on what is mounted here is seen by nobody else and ends with the process; what others mount and unmount
// still comes through.
Status enterOwnMounts(const std::string& device) {
    if (::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) == 0) {
        return Done{};
    }
    return systemFailure(ExitCode::kFailed, "format", device, "a mount name space for the test mount", errno);
}

int callFormat(const EntryPoints& entry, const std::string& device, const FormatRequest& request, std::string options,
               int flags) {
    std::string path = device;
    std::string type = request.type;
    std::array<char*, 1> devices{path.data()};
    return entry.format(devices.data(), 1, nullptr, type.data(), options.empty() ? nullptr : options.data(), flags,
                        nullptr, nullptr);
}

}  // namespace

Result<Formatted> FormatDevice::format(const FormatRequest& request) {
    if (Status checked = check(request); !checked) {
        return checked.failure();
    }
    if (Status ready = refuseWhenInterrupted("format", device_.path); !ready) {
        return ready.failure();
    }
    if (Status made = make(request); !made) {
        return made.failure();
    }
    if (Status proved = prove(request); !proved) {
        return proved.failure();
    }
    return formatted_;
}

Status FormatDevice::check(const FormatRequest& request) {
    auto options = mkfsOptions(request.options);
    if (!options) {
        return options.failure();
    }
    options_ = optionText("mkfsOptions", *options);
    auto device = findBlockDevice(request.device);
    if (!device) {
        return device.failure();
    }
    device_ = *device;
    auto lock = FsLock::take(device_.number, device_.path);
    if (!lock) {
        return lock.failure();
    }
    lock_ = std::move(*lock);
    if (device_.isReadOnly) {
        return Failure{ExitCode::kUnsupported, "format", device_.path, "the device is read-only"};
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    if (Status nobodys = refuseUsed(device_, *table); !nobodys) {
        return nobodys;
    }
    if (Status nobodys = refuseRecorded(device_, catalog_); !nobodys) {
        return nobodys;
    }
    if (Status found = findProvider(request); !found) {
        return found;
    }
    if (Status installed = checkPrograms(device_.path, request.type); !installed) {
        return installed;
    }
    return refuseContent(request.isForced);
}

// The first that takes the arguments; of those that do not, the one that knows what formatting is says why.
Status FormatDevice::findProvider(const FormatRequest& request) {
    Failure refusal{ExitCode::kUnsupported, "format", device_.path, "no provider formats devices"};
    for (const auto& provider : providers_) {
        CallOutcome outcome = provider->call(
            [&](const EntryPoints& entry) { return callFormat(entry, device_.path, request, options_, 0); });
        if (outcome.isOk()) {
            provider_ = provider.get();
            formatted_.provider = provider->name();
            return Done{};
        }
        if (outcome.status != ZFI_ERR_NOT_SUPPORTED) {
            refusal = failureOf(*provider, outcome, "format", device_.path);
            refusal.code = ExitCode::kUnsupported;
            refusal.cause += fmt::format(": it makes no file systems of type \"{}\"", request.type);
        }
    }
    return refusal;
}

Status FormatDevice::refuseContent(bool isForced) {
    auto found = signaturesOn(device_);
    if (!found) {
        return found.failure();
    }
    formatted_.replaced = namesOf(*found);
    oldUuid_ = found->empty() ? "" : found->front().uuid;
    if (found->empty() || isForced) {
        return Done{};
    }
    return Failure{ExitCode::kFailed, "format", device_.path,
                   fmt::format("it holds {}: what is there would be lost; --force takes that", formatted_.replaced)};
}

Status FormatDevice::make(const FormatRequest& request) {
    const AwayFromHere away;
    if (Status entered = enterOwnMounts(device_.path); !entered) {
        return entered;
    }
    CallOutcome outcome = provider_->call(
        [&](const EntryPoints& entry) { return callFormat(entry, device_.path, request, options_, kCarryOut); });
    removeTestMount();
    if (!outcome.isOk()) {
        return failureOf(*provider_, outcome, "format", device_.path);
    }
    formatted_.device = device_.path;
    formatted_.type = request.type;
    formatted_.warnings.insert(formatted_.warnings.begin(), outcome.traceLines.begin(), outcome.traceLines.end());
    return Done{};
}

// Of a test mount that was not taken away again: nobody else sees it, but it holds the device.
void FormatDevice::removeTestMount() {
    const auto table = MountTable::read();
    if (!table) {
        return;
    }
    for (const MountEntry* left : table->ofDevice(device_.number)) {
        if (left->point.starts_with(kTestMounts) && ::umount2(left->point.c_str(), UMOUNT_NOFOLLOW) == 0) {
            ::rmdir(left->point.c_str());
            formatted_.warnings.push_back("the test mount at " + left->point + " was left and has been taken away");
        }
    }
}

// The one that was there before proves nothing: an option may keep mkfs from doing anything (-n, -N). Only an option
// that names the UUID makes it come back.
Status FormatDevice::prove(const FormatRequest& request) {
    auto found = signaturesOn(device_);
    if (!found) {
        return found.failure();
    }
    if (found->size() == 1 && found->front().name == formatted_.type) {
        formatted_.uuid = found->front().uuid;
        const bool namesUuid =
            std::any_of(request.options.begin(), request.options.end(), [](const std::string& option) {
                return option.find("-U") != std::string::npos || option.find("uuid=") != std::string::npos;
            });
        if (formatted_.uuid != oldUuid_ || oldUuid_.empty() || namesUuid) {
            return Done{};
        }
        return Failure{ExitCode::kFailed, "format", device_.path,
                       fmt::format("the device still holds the {} file system that was there", formatted_.type)};
    }
    return Failure{ExitCode::kFailed, "format", device_.path,
                   fmt::format("{} reported a {} file system as made, but the device holds {}", formatted_.provider,
                               formatted_.type, found->empty() ? "nothing that can be recognised" : namesOf(*found))};
}

}  // namespace tarnctl
