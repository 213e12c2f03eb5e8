#include "host/restore/origin_access.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "host/mounts/device_number.h"
#include "host/mounts/mount_table.h"
#include "host/road/left_processes.h"
#include "host/road/recorded_nodes.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr long kForce = 0x10;
// A file that was just closed may keep its file system busy for a moment.
constexpr auto kPatience = std::chrono::seconds(2);
// fuser comes back before the processes that it ended are gone, and finds nobody when they are.
constexpr auto kPatienceForced = std::chrono::seconds(30);
constexpr auto kBetweenTries = std::chrono::milliseconds(100);

std::set<std::string> wordsOf(const std::string& options) {
    std::set<std::string> words;
    std::istringstream list(options);
    for (std::string word; std::getline(list, word, ',');) {
        words.insert(word);
    }
    return words;
}

bool liesOn(const fs::path& link, dev_t fileSystem) {
    struct stat status {};
    return ::stat(link.c_str(), &status) == 0 && status.st_dev == fileSystem;
}

bool isUser(const fs::path& process, dev_t fileSystem) {
    for (const char* link : {"cwd", "root", "exe"}) {
        if (liesOn(process / link, fileSystem)) {
            return true;
        }
    }
    std::error_code error;
    for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end; entry.increment(error)) {
        if (liesOn(entry->path(), fileSystem)) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<std::string> usersOf(dev_t fileSystem, std::size_t most) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end && found.size() < most;
         entry.increment(error)) {
        const std::string pid = entry->path().filename();
        if (pid.find_first_not_of("0123456789") == std::string::npos && isUser(entry->path(), fileSystem)) {
            std::ifstream comm(entry->path() / "comm");
            std::string name;
            std::getline(comm, name);
            found.push_back(fmt::format("{} ({})", pid, name));
        }
    }
    return found;
}

Result<OriginAccess> OriginAccess::of(const Providers& providers, const DisableUndo& origin) {
    auto provider = providerNamed(providers, origin.provider);
    if (!provider) {
        return provider.failure();
    }
    auto node = std::make_unique<Node>(**provider, origin.mountPoint);
    if (Status restored = node->restoreState(origin.state); !restored) {
        return restored.failure();
    }
    return OriginAccess(std::move(node), origin);
}

Result<bool> OriginAccess::isMounted() const {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    return !table->allAt(origin_.mountPoint).empty();
}

Status OriginAccess::disable(bool isForced) {
    if (Status waited = awaitCommandsOn({origin_.mountPoint}); !waited) {
        return waited;
    }
    zfi_node_subobj_list list{node_->record(), nullptr, nullptr, nullptr};
    const auto until = Clock::now() + (isForced ? kPatienceForced : kPatience);
    for (;;) {
        CallOutcome outcome = node_->provider().call(
            [&](const EntryPoints& entry) { return entry.disable_access(&list, isForced ? kForce : 0); });
        auto mounted = isMounted();
        if (!mounted) {
            return mounted.failure();
        }
        if (!*mounted) {
            node_->record()->state |= ZFI_STATE_OFFLINE;  // a call that failed may have unmounted it
            return Done{};
        }
        const bool mayPass = outcome.status == ZFI_ERR_BUSY || isForced;
        if (!outcome.escaped.empty() || !mayPass || Clock::now() >= until) {
            return busy(outcome);
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

Failure OriginAccess::busy(const CallOutcome& outcome) {
    Failure failure = failureOf(node_->provider(), outcome, "unmount the origin", origin_.mountPoint);
    const auto users = usersOf(static_cast<dev_t>(origin_.fsDevice), 5);
    if (!users.empty()) {
        failure.code = ExitCode::kBusy;
        failure.cause += fmt::format("; it is used by {}", fmt::join(users, ", "));
    }
    return failure;
}

Status OriginAccess::enable(const std::string& device, std::vector<std::string>& warnings) {
    if (Status waited = awaitCommandsOn({origin_.mountPoint, device}); !waited) {
        return waited;
    }
    Node volume(node_->provider(), device);  // only its name is looked at
    zfi_domain* devices[] = {volume.record()};
    zfi_node_subobj_list list{node_->record(), devices, nullptr, nullptr};
    node_->record()->state |= ZFI_STATE_OFFLINE;
    CallOutcome outcome =
        node_->provider().call([&](const EntryPoints& entry) { return entry.enable_access(&list, 0, 0, 0); });
    Status mounted = outcome.isOk() ? checkMounted(device, warnings)
                                    : failureOf(node_->provider(), outcome, "mount the origin", origin_.mountPoint);
    if (!mounted) {
        mounted.failure().cause +=
            fmt::format("; mount it with: mount -o {} {} {}", origin_.options, device, origin_.mountPoint);
    }
    return mounted;
}

Status OriginAccess::checkMounted(const std::string& device, std::vector<std::string>& warnings) const {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const MountEntry* entry = table->visibleAt(origin_.mountPoint);
    if (entry == nullptr || entry->device != deviceBehind(device)) {
        return Failure{ExitCode::kFailed, "mount the origin", origin_.mountPoint,
                       "the mount was reported as done, but " + device + " is not mounted there"};
    }
    if (wordsOf(entry->options) != wordsOf(origin_.options) ||
        wordsOf(entry->superOptions) != wordsOf(origin_.superOptions)) {
        warnings.push_back(fmt::format("it was mounted with {} and {}, now it is with {} and {}", origin_.options,
                                       origin_.superOptions, entry->options, entry->superOptions));
    }
    if (entry->type != origin_.fsType) {
        warnings.push_back(fmt::format("it was mounted as {}, now it is as {}", origin_.fsType, entry->type));
    }
    return Done{};
}

}  // namespace tarnctl
