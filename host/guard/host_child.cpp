#include "host/guard/host_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace tarnctl {
namespace {

bool isReadable(int fd, std::chrono::milliseconds limit) {
    pollfd watched{fd, POLLIN, 0};
    return poll(&watched, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace

HostChild::HostChild(const std::function<int(const Say&)>& body) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return;
    }
    OwnedFd readEnd(ends[0]);
    OwnedFd writeEnd(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
        readEnd.close();
        const Say say = [&writeEnd](int word) {
            if (write(writeEnd.get(), &word, sizeof word) != static_cast<ssize_t>(sizeof word)) {
                _exit(99);
            }
        };
        _exit(body(say));
    }
    words_ = std::move(readEnd);
}

HostChild::~HostChild() {
    kill();
}

std::optional<int> HostChild::hear() {
    int word = 0;
    if (isReadable(words_.get(), std::chrono::seconds(5)) &&
        read(words_.get(), &word, sizeof word) == static_cast<ssize_t>(sizeof word)) {
        return word;
    }
    return std::nullopt;
}

void HostChild::signal(int number) const {
    ::kill(pid_, number);
}

void HostChild::kill() {
    if (pid_ > 0) {
        signal(SIGKILL);
        await();
    }
}

int HostChild::await() {
    int status = 0;
    const bool hasExited = waitpid(pid_, &status, 0) == pid_ && WIFEXITED(status);
    pid_ = 0;
    return hasExited ? WEXITSTATUS(status) : -1;
}

WatchedProcess::WatchedProcess(pid_t pid) : process_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}

bool WatchedProcess::awaitEnd(std::chrono::milliseconds limit) const {
    return isReadable(process_.get(), limit);
}

}  // namespace tarnctl
