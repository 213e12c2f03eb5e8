#include "file_user.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

namespace road {
namespace {

// In the child. Tells the parent by one byte that it holds the file.
[[noreturn]] void keepOpen(const char* path, bool ignoresTerm, int ready) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGTERM, ignoresTerm ? SIG_IGN : SIG_DFL);
    if (open(path, O_RDONLY) < 0 || write(ready, "", 1) != 1) {
        _exit(1);
    }
    for (;;) {
        pause();
    }
}

}  // namespace

FileUser::FileUser(const std::string& path, Ending ending) : pid_(-1) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    pid_ = fork();
    if (pid_ == 0) {
        keepOpen(path.c_str(), ending == Ending::kIgnoresTerm, ready[1]);
    }
    close(ready[1]);
    char byte = 0;
    const bool holds = pid_ > 0 && read(ready[0], &byte, 1) == 1;
    close(ready[0]);
    if (!holds) {
        throw std::runtime_error("nobody holds " + path);
    }
}

FileUser::~FileUser() {
    if (isAlive()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status_, 0);
    }
}

bool FileUser::isAlive() {
    hasEnded_ = hasEnded_ || waitpid(pid_, &status_, WNOHANG) == pid_;
    return !hasEnded_;
}

int FileUser::endedBy() {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (isAlive() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return hasEnded_ && WIFSIGNALED(status_) ? WTERMSIG(status_) : 0;
}

}  // namespace road
