#include "host/verbs/callers_command.h"

#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "host/freeze/owned_fd.h"
#include "host/report/system_failure.h"
#include "host/road/interruption.h"

extern char** environ;

namespace tarnctl {
namespace {

// Keeps interruptions waiting, so that none comes between a look at the note and the wait for the command.
class HeldInterruptions {
  public:
    HeldInterruptions() {
        sigset_t held;
        sigemptyset(&held);
        for (int signal : kInterruptions) {
            sigaddset(&held, signal);
        }
        ::sigprocmask(SIG_BLOCK, &held, &before_);
    }
    HeldInterruptions(const HeldInterruptions&) = delete;
    HeldInterruptions& operator=(const HeldInterruptions&) = delete;
    ~HeldInterruptions() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

    const sigset_t& before() const { return before_; }

  private:
    sigset_t before_{};
};

// What the command starts with.
class Start {
  public:
    Start(const sigset_t& mask, bool isOutputKept) {
        ::posix_spawn_file_actions_init(&actions_);
        if (isOutputKept) {
            ::posix_spawn_file_actions_adddup2(&actions_, STDERR_FILENO, STDOUT_FILENO);
        }
        ::posix_spawnattr_init(&attributes_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);  // we ignore it, a command must not
        ::posix_spawnattr_setsigdefault(&attributes_, &defaults);
        ::posix_spawnattr_setsigmask(&attributes_, &mask);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;
    ~Start() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }

    int spawn(pid_t& child, std::vector<char*>& words, mode_t callerUmask) const {
        const mode_t ours = ::umask(callerUmask);
        const int error = ::posix_spawnp(&child, words[0], &actions_, &attributes_, words.data(), environ);
        ::umask(ours);
        return error;
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

void passInterruptionOn(pid_t child) {
    if (interruption() != 0) {
        ::kill(child, interruption());
        forgetInterruption();
    }
}

// 0 or errno.
int awaitEnd(pid_t child, const sigset_t& mask, int& status) {
    const OwnedFd process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!process) {
        return errno;
    }
    pollfd ended{process.get(), POLLIN, 0};
    while (::ppoll(&ended, 1, nullptr, &mask) < 0) {
        if (errno != EINTR) {
            return errno;
        }
        passInterruptionOn(child);
    }
    return ::waitpid(child, &status, 0) < 0 ? errno : 0;
}

}  // namespace

Result<Ended> runForCaller(const std::vector<std::string>& command, const Settings& settings) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    const HeldInterruptions held;
    pid_t child = 0;
    const int error = Start(held.before(), settings.isJson).spawn(child, words, settings.callerUmask);
    if (error != 0) {
        return systemFailure(ExitCode::kCommandFailed, "run", command.front(), "cannot start it", error);
    }
    int status = 0;
    if (const int lost = awaitEnd(child, held.before(), status); lost != 0) {
        return systemFailure(ExitCode::kFailed, "run", command.front(), "cannot wait for it", lost);
    }
    return Ended{WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status)};
}

}  // namespace tarnctl
