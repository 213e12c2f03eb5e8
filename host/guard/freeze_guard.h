// Keeps a freeze from outliving the host. Before anything is frozen the host starts a guard: a process of its own that
// holds the mount point's directory, is locked in memory, blocks every signal, executes nothing and watches the host.
// When the host is gone or takes too long, the guard thaws.
//
// Order of calls, one freeze per guard:
//     arm → announceFreezing → (freeze) → tellFrozen → (snapshot) → (thaw) → noteThaw → release
// release may come at any point at which nothing of ours is frozen or can become frozen any more. A guard that is
// destroyed without release behaves as if the host had died: it thaws what was announced.
//
// What the guard does when the host is gone (killed, ended, guard object destroyed) or hangs past the deadline:
//   armed      nothing; it ends with the host. Somebody else's freeze is never touched.
//   freezing   thaws every thawInterval until one thaw succeeds or commandLimit has passed, for the freeze
//              command may still be on its way (with FreezeBy::kHost and a dead host one try is enough).
//   frozen     thaws at once.
// After it acted on a deadline the guard stays until release or the end of the host, and thaws once more in the latter.
//
// Thread-safety: none; one thread owns the object. arm may be called while other threads run.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>

#include "host/freeze/freeze_window.h"
#include "host/freeze/held_directory.h"
#include "host/freeze/owned_fd.h"
#include "host/guard/guard_protocol.h"
#include "host/report/failure.h"

namespace tarnctl {

enum class FreezeBy {
    kCommand,  // a program started by the host or by a provider: may complete after the host has died
    kHost,     // the host's own system call: complete or never begun once the host process has ended
};

struct GuardLimits {
    FreezeBy by = FreezeBy::kCommand;
    std::chrono::milliseconds frozen{10'000};    // longest window, from the completed freeze
    std::chrono::milliseconds freezing{60'000};  // longest freeze, from announceFreezing
    std::chrono::milliseconds command{600'000};  // how long a freeze may still come after the host is gone
    std::chrono::milliseconds thawInterval{50};  // between two thaws while a freeze may still come
    std::chrono::milliseconds answer{5'000};     // how long the host waits for the guard to arm, answer or end
};

// What the guard did to a living host's freeze, at the last deadline.
struct GuardReport {
    enum class Act {
        kThawed,       // it ended the freeze: the window is broken
        kFoundThawed,  // nothing was frozen any more
        kGaveUp,       // no thaw succeeded: the file system may still be, or become, frozen
    };
    Act act = Act::kThawed;
    int error = 0;  // errno of the last thaw, 0 when it succeeded
    FreezeWindow::Clock::time_point at{};
};

class FreezeGuard {
  public:
    // Starts the guard and waits until it says that it holds the directory, has locked its memory, closed everything
    // else and blocked all signals. Nothing is frozen or thawed. Fails with kUnsupported for the root file system,
    // kFailed with the step and the system's error otherwise; then no process is left. The directory is borrowed for
    // the call.
    static Result<FreezeGuard> arm(const HeldDirectory& directory, const GuardLimits& limits = {});

    FreezeGuard(FreezeGuard&& other) noexcept;
    FreezeGuard& operator=(FreezeGuard&&) = delete;
    // Without release: armed → ends the guard; later → the guard thaws. Waits at most a second for its end.
    ~FreezeGuard();

    // Returns when the guard has acknowledged: from then on it thaws for us. Only after success may a freeze be
    // started.
    Status announceFreezing();

    // Right after the freeze is complete; opens the window. Lies in the window, so it costs one pipe write and two
    // polls and waits for nothing. That is safe: whether or not the guard has read it when the host dies, it thaws, for
    // the order is in the pipe and in *freezing* it thaws too. What the order changes is the deadline. Fails when the
    // guard is gone or has thawed already: thaw and abort.
    Status tellFrozen(FreezeWindow::Clock::time_point frozenAt = FreezeWindow::Clock::now());

    // The outcome of the host's own thaw; closes the window. Where a command thawed and its answer is only an exit
    // status, prove with isFrozen right before it and pass kDone or kWasNotFrozen accordingly.
    void noteThaw(ThawOutcome outcome, FreezeWindow::Clock::time_point thawedAt = FreezeWindow::Clock::now());

    // Ends the guard without a thaw and reaps it. Only when nothing of ours is frozen or can still become frozen. Fails
    // when it had died before it obeyed (the freeze was unguarded for a while) or does not end. A second call answers
    // done.
    Status release();

    // False as soon as the guard process has ended, for whatever reason.
    bool isAlive() const;
    // Readable (POLLIN) as soon as the guard has ended; for poll only, owned by this object, -1 after release.
    int deathFd() const { return process_.get(); }
    // Readable when the guard has acted on a deadline; for poll only, -1 after release.
    int eventFd() const { return events_.get(); }
    // The last thing that the guard did by itself; none is the good case. Never waits.
    std::optional<GuardReport> report();
    // The window with the guard's acts taken into account. Also valid after release.
    const FreezeWindow& window();
    // Process id of the guard, 0 after release.
    pid_t pid() const { return pid_; }

  private:
    enum class Phase { kArmed, kAnnounced, kFrozen, kReleased };

    FreezeGuard() = default;
    bool start(const HeldDirectory& directory);
    Status awaitArmed();
    bool sendOrder(GuardOrder order, FreezeWindow::Clock::time_point at);
    // Waits for one record of the guard; none when it ended or did not answer in time.
    std::optional<EventRecord> awaitEvent();
    void drainEvents();
    void keep(const EventRecord& record);
    bool awaitEnd(std::chrono::milliseconds limit) const;
    // The wait status; none where the process ignores SIGCHLD, for then the kernel has reaped the guard.
    std::optional<int> reap();
    Failure failure(std::string operation, std::string cause) const;

    GuardLimits limits_;
    std::string subject_;
    OwnedFd orders_;      // write end
    OwnedFd ownReadEnd_;  // of the same pipe: with it a write to a dead guard raises no SIGPIPE
    OwnedFd events_;      // read end
    OwnedFd process_;     // pidfd of the guard
    pid_t pid_ = 0;
    Phase phase_ = Phase::kReleased;
    std::optional<GuardReport> report_;
    FreezeWindow window_;
};

}  // namespace tarnctl
