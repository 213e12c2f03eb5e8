#include "host/device/online_device.h"

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/device/device_use.h"
#include "host/device/format_options.h"
#include "host/device/signatures.h"
#include "host/mounts/backing_chain.h"
#include "host/mounts/preflight.h"
#include "host/report/system_failure.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"

namespace tarnctl {
namespace {

// The provider reports the last failure without saying which command it was: the lines of its trace do.
Failure mountFailure(Provider& provider, const CallOutcome& outcome, const BlockDevice& device,
                     const std::string& mountPoint, const std::string& how) {
    Failure failure = failureOf(provider, outcome, "bring on line", device.path);
    failure.cause += ::access(mountPoint.c_str(), F_OK) == 0
                         ? fmt::format(": mount \"{}\" at \"{}\" {}", device.path, mountPoint, how)
                         : fmt::format(": \"{}\" could not be made", mountPoint);
    for (std::size_t i = outcome.messages.size(); i-- > 0;) {
        const std::vector<std::string>& arguments = outcome.messages[i].arguments;
        if (std::any_of(arguments.begin(), arguments.end(), [](const std::string& text) { return text.empty(); })) {
            failure.messages.erase(failure.messages.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    return failure;
}

// On the way to a success the provider also writes down that the device was not mounted before, which we had made sure
// of.
std::vector<std::string> newsOf(std::vector<std::string> lines) {
    std::erase_if(lines, [](const std::string& line) { return line.ends_with("] is not mounted"); });
    return lines;
}

void freePaths(char** paths, int count) {
    for (int i = 0; paths != nullptr && i < count; ++i) {
        znfi_free_buf(paths[i], std::strlen(paths[i]) + 1);
    }
    std::free(paths);
}

}  // namespace

Result<Onlined> OnlineDevice::online(const OnlineRequest& request) {
    Result<Onlined> onlined = bring(request);
    if (placeLock_) {
        placeLock_->discard();
    }
    return onlined;
}

Result<Onlined> OnlineDevice::bring(const OnlineRequest& request) {
    if (Status checked = check(request); !checked) {
        return checked.failure();
    }
    if (onlined_.wasThere) {
        return onlined_;
    }
    if (Status ready = refuseWhenInterrupted("bring on line", device_.path); !ready) {
        return ready.failure();
    }
    const AwayFromHere away;
    Status mounted = recorded_ ? mountAsRecorded() : mountOrRepair(request.options.value_or(""));
    if (mounted) {
        mounted = prove();
    }
    if (mounted) {
        mounted = refuseWhenInterrupted("bring on line", device_.path);
    }
    if (!mounted) {
        takeBack(mounted.failure());
        return mounted.failure();
    }
    return onlined_;
}

// Nothing was mounted there before, and nobody else of us mounts there meanwhile.
void OnlineDevice::takeBack(Failure& cause) {
    const auto table = MountTable::read();
    if (table && mountThere(*table) != nullptr && ::umount2(mountPoint_.c_str(), UMOUNT_NOFOLLOW) != 0) {
        cause.undoing.push_back(
            systemFailure(ExitCode::kFailed, "unmount", mountPoint_, "it was mounted all the same", errno));
    }
    if (!placeExisted_) {
        ::rmdir(mountPoint_.c_str());  // fails where it is mounted on: then it stays
    }
}

Status OnlineDevice::check(const OnlineRequest& request) {
    if (auto options = mountOptions(request.options.value_or("")); !options) {
        return options.failure();
    }
    mountPoint_ = withoutTrailingSlashes(request.mountPoint);
    if (Status plain = checkName(NameKind::kMountPoint, mountPoint_); !plain) {
        return plain;
    }
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
    auto placeLock = FsLock::takeForPlace(mountPoint_);
    if (!placeLock) {
        return placeLock.failure();
    }
    placeLock_ = std::move(*placeLock);
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    if (mountThere(*table) != nullptr) {
        onlined_.wasThere = true;
        return prove();
    }
    if (Status nobodys = refuseUsed(device_, *table); !nobodys) {
        return nobodys;
    }
    if (Status nobodys = refuseRecorded(device_, catalog_, RecordedAs::kSnapshotDevice); !nobodys) {
        return nobodys;
    }
    if (Status holds = checkContent(); !holds) {
        return holds;
    }
    if (Status free = checkPlace(*table); !free) {
        return free;
    }
    return findRecord(request);
}

// A mount that fails may be followed by a repair, and a repair of what is no file system harms.
Status OnlineDevice::checkContent() {
    auto found = signaturesOn(device_);
    if (!found) {
        return found.failure();
    }
    if (found->size() == 1 && found->front().isFileSystem) {
        return Done{};
    }
    return Failure{ExitCode::kUnsupported, "bring on line", device_.path,
                   found->empty() ? "it holds no file system that can be recognised"
                                  : "it does not hold one file system, but " + namesOf(*found)};
}

// The same as for the mount point of a snapshot: a plain path that is free and that nobody else can exchange.
Status OnlineDevice::checkPlace(const MountTable& table) {
    auto place = checkAlternate(table, mountPoint_);
    if (!place) {
        Failure failure = std::move(place.failure());
        failure.operation = "check the mount point";
        return failure;
    }
    placeExisted_ = place->existed;
    return Done{};
}

Status OnlineDevice::findRecord(const OnlineRequest& request) {
    if (request.options) {
        return Done{};
    }
    auto records = catalog_.snapshots();
    if (!records) {
        return records.failure();
    }
    for (auto record = records->rbegin(); record != records->rend(); ++record) {
        if (record->state == SnapshotState::kGone || record->origin.mountPoint != mountPoint_ ||
            !isDeviceNamed(record->origin.device, device_)) {
            continue;
        }
        auto imported = isImported(catalog_, record->id);
        if (!imported) {
            return imported.failure();
        }
        if (!*imported) {
            return takeOptionsOf(record->id);
        }
    }
    return Done{};
}

Status OnlineDevice::takeOptionsOf(const std::string& snapshotId) {
    auto node = recordedNode(providers_, catalog_, snapshotId, NodeRole::kOrigin);
    if (!node) {
        return node.failure();
    }
    if ((*node)->record()->privateData != nullptr) {
        recorded_ = std::move(*node);
        onlined_.recordedIn = snapshotId;
    }
    return Done{};
}

Status OnlineDevice::mountAsRecorded() {
    Provider& provider = recorded_->provider();
    Node device(provider, device_.path);
    std::array<zfi_domain*, 1> devices{device.record()};
    zfi_node_subobj_list list{recorded_->record(), devices.data(), nullptr, nullptr};
    recorded_->record()->state |= ZFI_STATE_OFFLINE;
    CallOutcome outcome = provider.call([&](const EntryPoints& entry) { return entry.enable_access(&list, 0, 0, 0); });
    if (!outcome.isOk()) {
        return mountFailure(provider, outcome, device_, mountPoint_,
                            "with the options recorded in snapshot " + onlined_.recordedIn);
    }
    onlined_.warnings = newsOf(outcome.traceLines);
    return Done{};
}

Status OnlineDevice::mountOrRepair(const std::string& options) {
    std::string path = device_.path;
    std::string point = mountPoint_;
    std::string text = optionText("mountOptions", options);
    std::array<char*, 1> paths{path.data()};
    for (const auto& provider : providers_) {
        char** targets = nullptr;
        int count = 0;
        CallOutcome outcome = provider->call([&](const EntryPoints& entry) {
            return entry.online_resource(paths.data(), 1, point.data(), nullptr, text.empty() ? nullptr : text.data(),
                                         nullptr, 0, &targets, &count);
        });
        freePaths(targets, count);
        if (outcome.isOk()) {
            onlined_.warnings = newsOf(outcome.traceLines);
            return Done{};
        }
        if (outcome.status != ZFI_ERR_NOT_SUPPORTED) {
            const std::string with = options.empty() ? "without options" : "with the options " + options;
            return mountFailure(*provider, outcome, device_, mountPoint_, with + ", also after a repair");
        }
    }
    return Failure{ExitCode::kUnsupported, "bring on line", device_.path, "no provider brings devices on line"};
}

const MountEntry* OnlineDevice::mountThere(const MountTable& table) const {
    const MountEntry* entry = table.visibleAt(mountPoint_);
    return entry != nullptr && (entry->device == device_.number || blockDeviceOf(*entry) == device_.number) ? entry
                                                                                                            : nullptr;
}

Status OnlineDevice::prove() {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const MountEntry* entry = mountThere(*table);
    if (entry == nullptr) {
        return Failure{ExitCode::kFailed, "bring on line", device_.path,
                       "it was reported as mounted, but is not seen at " + mountPoint_};
    }
    onlined_.device = device_.path;
    onlined_.mountPoint = mountPoint_;
    onlined_.type = entry->type;
    onlined_.options = entry->options + "," + entry->superOptions;
    return Done{};
}

}  // namespace tarnctl
