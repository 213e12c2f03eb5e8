#include "host/road/write_through.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>

#include "host/freeze/owned_fd.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

std::set<std::string> wordsOf(const std::string& options) {
    std::set<std::string> words;
    for (std::size_t at = 0; at < options.size();) {
        const std::size_t end = std::min(options.find(',', at), options.size());
        words.insert(options.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

std::string optionsOf(const MountEntry& entry) {
    return entry.options + "," + entry.superOptions;
}

bool isSync(const std::string& options) {
    return wordsOf(options).contains("sync");
}

// The options that the file system has now; nothing where it is not mounted there any more.
Result<std::optional<std::string>> optionsNow(const SyncUndo& undo) {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const MountEntry* entry = table->visibleAt(undo.mountPoint);
    if (entry == nullptr || entry->device != static_cast<dev_t>(undo.fsDevice)) {
        return std::optional<std::string>();
    }
    return std::optional<std::string>(optionsOf(*entry));
}

// Only this one flag of the superblock, whatever else its options are. 0 or errno.
int clearSync(const std::string& mountPoint) {
    const OwnedFd context(::fspick(AT_FDCWD, mountPoint.c_str(), FSPICK_CLOEXEC | FSPICK_SYMLINK_NOFOLLOW));
    const bool isCleared = context && ::fsconfig(context.get(), FSCONFIG_SET_FLAG, "async", nullptr, 0) == 0 &&
                           ::fsconfig(context.get(), FSCONFIG_CMD_RECONFIGURE, nullptr, nullptr, 0) == 0;
    return isCleared ? 0 : errno;
}

void add(std::vector<std::string>& warnings, const std::vector<std::string>& more) {
    warnings.insert(warnings.end(), more.begin(), more.end());
}

}  // namespace

bool cannotBeFrozen(std::string_view type) {
    return type.starts_with("nfs") || type == "jffs2";
}

SyncUndo syncUndoOf(const Node& fileSystem, const MountEntry& origin) {
    return {fileSystem.provider().name(), origin.point, origin.device, optionsOf(origin)};
}

Status writeThrough(Node& fileSystem, const SyncUndo& undo) {
    Provider& provider = fileSystem.provider();
    CallOutcome outcome =
        provider.call([&](const EntryPoints& entry) { return entry.cache_disable(fileSystem.record()); });
    if (!outcome.isOk()) {
        Failure failure = failureOf(provider, outcome, "switch write caching off", undo.mountPoint);
        if (std::any_of(outcome.traceLines.begin(), outcome.traceLines.end(),
                        [](const std::string& line) { return line.find("busy") != std::string::npos; })) {
            failure.code = ExitCode::kBusy;  // asking the kernel which it is would freeze it, without a guard
            failure.cause += "; it is busy, as it is when somebody else has frozen it";
        }
        return failure;
    }
    auto now = optionsNow(undo);
    if (!now) {
        return now.failure();
    }
    if (!*now || !isSync(**now)) {
        return Failure{ExitCode::kFailed, "switch write caching off", undo.mountPoint,
                       provider.name() + " reported it as done, but the file system is not mounted with sync"};
    }
    return Done{};
}

Result<std::vector<std::string>> writeBackAgain(Node& fileSystem, const SyncUndo& undo) {
    std::vector<std::string> warnings;
    auto now = optionsNow(undo);
    if (!now || !*now || isSync(undo.options) || !isSync(**now)) {
        return now ? Result<std::vector<std::string>>(warnings) : now.failure();
    }
    CallOutcome outcome = fileSystem.provider().call([&](const EntryPoints& entry) {
        entry.cache_enable(fileSystem.record());
        return ZFI_OK;
    });
    add(warnings, outcome.traceLines);
    if (!outcome.escaped.empty()) {
        warnings.push_back(fileSystem.provider().name() + " let an exception escape: " + outcome.escaped);
    }
    now = optionsNow(undo);
    if (now && *now && isSync(**now)) {
        const int error = clearSync(undo.mountPoint);
        warnings.push_back(fmt::format("{} left {} mounted with sync; taking that back: {}",
                                       fileSystem.provider().name(), undo.mountPoint,
                                       error == 0 ? "done" : systemErrorText(error)));
        now = optionsNow(undo);
    }
    if (!now) {
        return now.failure();
    }
    if (*now && isSync(**now)) {
        return Failure{ExitCode::kFailed,
                       "switch write caching on again",
                       undo.mountPoint,
                       "it still is mounted with sync. Type: mount -o remount,async " + undo.mountPoint,
                       {},
                       warnings};
    }
    if (*now && wordsOf(**now) != wordsOf(undo.options)) {
        warnings.push_back(fmt::format("its mount options are {} now, and were {} before", **now, undo.options));
    }
    return warnings;
}

}  // namespace tarnctl
