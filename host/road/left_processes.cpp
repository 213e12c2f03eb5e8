#include "host/road/left_processes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>
#include <thread>

#include "host/freeze/owned_fd.h"

namespace tarnctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<std::string_view, 7> kCommands{"xfs_freeze", "xfs_io", "mount", "umount",
                                                    "mkdir",      "rmdir",  "fuser"};
constexpr std::string_view kGuardName = "tarnctl-guard";
constexpr std::size_t kWordsBeforeScript =
    3;  // "/bin/sh -f /usr/sbin/xfs_freeze": an interpreter, its option, the script
constexpr auto kBetweenLooks = std::chrono::milliseconds(10);
constexpr auto kEndOfGuard = std::chrono::seconds(5);

// Processes come and go while one looks: what cannot be read is not there any more. No stream: it throws then.
std::string contentOf(const std::string& file) {
    std::string content;
    const OwnedFd opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> piece{};
    for (ssize_t got = 0; opened && (got = ::read(opened.get(), piece.data(), piece.size())) > 0;) {
        content.append(piece.data(), static_cast<std::size_t>(got));
    }
    return content;
}

template <typename Matches>
std::vector<pid_t> processesThat(Matches matches) {
    std::vector<pid_t> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        if (matches(entry->path().string())) {
            found.push_back(static_cast<pid_t>(std::stol(name)));
        }
    }
    return found;
}

std::vector<std::string> wordsOf(const std::string& process) {
    const std::string line = contentOf(process + "/cmdline");
    std::vector<std::string> words;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t end = std::min(line.find('\0', at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

bool isCommandOn(const std::string& process, const std::vector<std::string>& paths) {
    const std::vector<std::string> words = wordsOf(process);
    // A bare word is a program's name only at the beginning: "tarnctl mount ID NAME" is no mount command.
    const auto isCommand = [&](const std::string& word) {
        const std::size_t slash = word.rfind('/');
        const std::string_view name = std::string_view(word).substr(slash + 1);
        return (slash != std::string::npos || &word == &words.front()) &&
               std::find(kCommands.begin(), kCommands.end(), name) != kCommands.end();
    };
    const auto lastOfProgram = words.begin() + static_cast<std::ptrdiff_t>(std::min(words.size(), kWordsBeforeScript));
    return std::any_of(words.begin(), lastOfProgram, isCommand) &&
           std::find_first_of(words.begin(), words.end(), paths.begin(), paths.end()) != words.end();
}

bool isGuardOf(const std::string& process, dev_t fileSystem) {
    if (contentOf(process + "/comm") != std::string(kGuardName) + "\n") {
        return false;
    }
    std::error_code error;
    for (std::filesystem::directory_iterator entry(process + "/fd", error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat status {};
        if (::stat(entry->path().c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_dev == fileSystem) {
            return true;
        }
    }
    return false;
}

// Through a handle: the number may belong to another process by the time of the signal.
void endGuard(pid_t pid, dev_t fileSystem) {
    const OwnedFd handle(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (handle && isGuardOf(fmt::format("/proc/{}", pid), fileSystem)) {
        ::syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0);
    }
}

// The one that is still there when the time is over.
template <typename Look>
std::optional<pid_t> awaitNone(Look look, std::chrono::milliseconds limit) {
    const auto until = Clock::now() + limit;
    while (true) {
        const std::vector<pid_t> found = look();
        if (found.empty()) {
            return std::nullopt;
        }
        if (Clock::now() >= until) {
            return found.front();
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

}  // namespace

Status awaitCommandsOn(const std::vector<std::string>& paths, std::chrono::milliseconds limit) {
    const auto look = [&] { return processesThat([&](const std::string& one) { return isCommandOn(one, paths); }); };
    const auto left = awaitNone(look, limit);
    if (!left) {
        return Done{};
    }
    return Failure{ExitCode::kBusy, "wait for the commands of the interrupted snapshot", paths.front(),
                   fmt::format("process {} still runs: try again when it has ended", *left)};
}

Status endGuardsOf(dev_t fileSystem, const std::string& subject) {
    const auto look = [&] { return processesThat([&](const std::string& one) { return isGuardOf(one, fileSystem); }); };
    for (const pid_t guard : look()) {
        endGuard(guard, fileSystem);
    }
    const auto left = awaitNone(look, kEndOfGuard);
    if (!left) {
        return Done{};
    }
    return Failure{ExitCode::kFailed, "end the freeze guard of the interrupted snapshot", subject,
                   fmt::format("process {} does not end", *left)};
}

}  // namespace tarnctl
