// For tests: a host as a process of its own, which can be stopped and killed. It says numbers to the test over a pipe.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>

#include "host/freeze/owned_fd.h"

namespace tarnctl {

class HostChild {
  public:
    using Say = std::function<void(int)>;

    // Runs the body in a child process and ends it with the body's answer as exit status.
    explicit HostChild(const std::function<int(const Say&)>& body);
    HostChild(const HostChild&) = delete;
    HostChild& operator=(const HostChild&) = delete;
    // Kills and reaps it where the test has not.
    ~HostChild();

    // The next number that it said; none after five seconds or at its end.
    std::optional<int> hear();
    void signal(int number) const;
    // Kills with SIGKILL and reaps.
    void kill();
    // Waits for its own end; the exit status, or -1 when it did not exit by itself.
    int await();
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = 0;
    OwnedFd words_;
};

// Another process that is waited for through a pidfd: the guard of a child is nobody's child that could be waited for
// otherwise.
class WatchedProcess {
  public:
    explicit WatchedProcess(pid_t pid);
    bool isOpen() const { return static_cast<bool>(process_); }
    // True when it ended within the time.
    bool awaitEnd(std::chrono::milliseconds limit) const;

  private:
    OwnedFd process_;
};

}  // namespace tarnctl
