#include "child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "abandoned_children.h"

namespace znfi_runtime {

void ChildProcess::adopt(pid_t id, Descriptor handle, Descriptor output) noexcept {
    id_ = id;
    handle_ = std::move(handle);
    output_ = std::move(output);
    if (handle_) {
        end_.reset();  // without a handle it was gone before one could be had: its status is lost
    }
}

ChildProcess::~ChildProcess() {
    if (end_ || tryReap()) {
        return;
    }
    signalGroup(SIGKILL);
    abandonChild(std::move(handle_));
}

bool ChildProcess::tryReap() {
    if (end_) {
        return true;
    }
    siginfo_t info{};
    int result = 0;
    do {
        result = ::waitid(P_PIDFD, static_cast<id_t>(handle_.number()), &info, WEXITED | WNOHANG);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        end_.emplace();
    } else if (info.si_pid != 0) {
        const bool exited = info.si_code == CLD_EXITED;
        end_ = ChildEnd{exited ? ChildEnd::Kind::kExited : ChildEnd::Kind::kSignalled, info.si_status};
    }
    return end_.has_value();
}

bool ChildProcess::reapBefore(Deadline deadline) {
    // A tracer may keep an ended child from its parent for a while: then the handle is ready and there is no status.
    constexpr std::chrono::milliseconds kTracerPause{10};
    while (!end_) {
        if (waitUntil(handle_.number(), deadline) == Ready::kExpired) {
            return false;
        }
        if (!tryReap()) {
            pauseUntil(kTracerPause, deadline);
        }
    }
    return true;
}

// The number belongs to the group as long as the child is not reaped or another member lives. Once the child is gone,
// a process of that number would be a stranger that got it anew.
bool ChildProcess::ownsGroupNumber() const {
    return !end_ || (::getpgid(id_) < 0 && errno == ESRCH);
}

void ChildProcess::signalGroup(int signal) const {
    if (ownsGroupNumber()) {
        ::kill(-id_, signal);
    }
}

bool ChildProcess::groupGoneBefore(Deadline deadline) const {
    // Members other than the child are nobody's children here, so that nothing tells of their end.
    constexpr std::chrono::milliseconds kProbePause{10};
    while (ownsGroupNumber() && ::kill(-id_, 0) == 0) {
        if (!pauseUntil(kProbePause, deadline)) {
            return false;
        }
    }
    return true;
}

}  // namespace znfi_runtime
