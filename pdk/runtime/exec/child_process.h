// One child process in a process group of its own: its output, its signals, its end.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cfiexecpipecodes.h"
#include "deadline.h"
#include "descriptor.h"

namespace znfi_runtime {

// How a child ended. Lost: it is gone, but its status went to somebody else or to nobody (SIGCHLD ignored).
struct ChildEnd {
    enum class Kind { kExited, kSignalled, kLost };
    Kind kind = Kind::kLost;
    int value = 0;  // exit status or signal number
};

// Waits for this child only, through its pidfd, so that a reused process id can never be mistaken for it. Destroying
// the object of a child that has not been waited for kills the group and leaves the child to reapAbandoned(). One
// thread uses one object.
class ChildProcess {
  public:
    struct Started {
        zfi_eexecpipe code = ZFI_EXEC_PIPE_SUCCESS;
        int error = 0;  // errno when the code is not 0
        std::unique_ptr<ChildProcess> child;
    };

    // Starts arguments[0], which is not searched for. The child gets a group of its own, /dev/null as standard input,
    // one pipe as standard output and error, no other descriptor, no blocked and no ignored signal, the directory / and
    // the fixed environment; nothing else of the caller's is changed (limits, priority, user, umask).
    static Started start(std::vector<std::string> arguments);

    // No child: what start makes one of.
    ChildProcess() noexcept { end_.emplace(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t id() const noexcept { return id_; }
    // Read end of the pipe.
    int output() const noexcept { return output_.number(); }

    // Waits for the end of the child and reaps it; false when the deadline came first.
    bool reapBefore(Deadline deadline);
    // Reaps the child if it has ended.
    bool tryReap();
    // Set once the child is reaped or lost.
    const std::optional<ChildEnd>& end() const noexcept { return end_; }

    // Sends a signal to the group, provided the group's number is certainly still its own.
    void signalGroup(int signal) const;
    // Waits until no process of the group is left; false when the deadline came first. Only after the child is reaped.
    bool groupGoneBefore(Deadline deadline) const;

  private:
    void adopt(pid_t id, Descriptor handle, Descriptor output) noexcept;
    bool ownsGroupNumber() const;

    pid_t id_ = -1;
    Descriptor handle_;
    Descriptor output_;
    std::optional<ChildEnd> end_;
};

}  // namespace znfi_runtime
