#include "host/guard/freeze_guard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "host/guard/guard_process.h"

namespace tarnctl {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = FreezeWindow::Clock;

constexpr milliseconds kEndAfterKill{1'000};
constexpr milliseconds kEndAfterDestruction{1'000};

std::string errorText(int error) {
    return std::generic_category().message(error);
}

std::int64_t inNanoseconds(nanoseconds duration) {
    return duration.count();
}

int openPidfd(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

void killNow(int pidfd) {
    syscall(SYS_pidfd_send_signal, pidfd, SIGKILL, nullptr, 0);
}

bool isReadable(int fd, milliseconds limit) {
    const auto end = Clock::now() + limit;
    pollfd watched{fd, POLLIN, 0};
    while (true) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        const int ready = poll(&watched, 1, static_cast<int>(std::max<milliseconds::rep>(left.count(), 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

struct Pipe {
    OwnedFd readEnd;
    OwnedFd writeEnd;
    bool open() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            return false;
        }
        readEnd = OwnedFd(ends[0]);
        writeEnd = OwnedFd(ends[1]);
        return true;
    }
};

// The guard is born with the signals blocked: none of the host's handlers may run in it.
class AllSignalsBlocked {
  public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

const char* nameOf(ArmingStep step) {
    switch (step) {
        case ArmingStep::kSignals:
            return "block the signals";
        case ArmingStep::kSession:
            return "open a session of its own";
        case ArmingStep::kWorkingDirectory:
            return "change to the root directory";
        case ArmingStep::kDescriptors:
            return "close the descriptors that it does not need";
        case ArmingStep::kMemory:
            return "lock its memory (CAP_IPC_LOCK or a larger RLIMIT_MEMLOCK is needed)";
        case ArmingStep::kDirectory:
            return "hold the mount point's directory";
        case ArmingStep::kNone:
            break;
    }
    return "start";
}

std::optional<GuardReport::Act> actOf(GuardEvent event) {
    switch (event) {
        case GuardEvent::kThawedAtDeadline:
            return GuardReport::Act::kThawed;
        case GuardEvent::kFoundThawed:
            return GuardReport::Act::kFoundThawed;
        case GuardEvent::kGaveUp:
            return GuardReport::Act::kGaveUp;
        default:
            return std::nullopt;
    }
}

bool isRootFileSystem(const HeldDirectory& directory) {
    struct stat root {};
    return stat("/", &root) == 0 && root.st_dev == directory.device();
}

}  // namespace

Result<FreezeGuard> FreezeGuard::arm(const HeldDirectory& directory, const GuardLimits& limits) {
    FreezeGuard guard;
    guard.limits_ = limits;
    guard.subject_ = directory.path();
    if (isRootFileSystem(directory)) {
        Failure refusal = guard.failure("arm the freeze guard", "the root file system holds what would thaw it");
        refusal.code = ExitCode::kUnsupported;
        return refusal;
    }
    if (!guard.start(directory)) {
        return guard.failure("arm the freeze guard", errorText(errno));
    }
    if (Status armed = guard.awaitArmed(); !armed) {
        return armed.failure();
    }
    return guard;
}

bool FreezeGuard::start(const HeldDirectory& directory) {
    Pipe orders;
    Pipe events;
    const OwnedFd host(openPidfd(getpid()));
    if (!host || !orders.open() || !events.open()) {
        return false;
    }
    const GuardWiring wiring{.directory = directory.fd(),
                             .orders = orders.readEnd.get(),
                             .events = events.writeEnd.get(),
                             .host = host.get(),
                             .frozenLimit = inNanoseconds(limits_.frozen),
                             .freezingLimit = inNanoseconds(limits_.freezing),
                             .commandLimit = inNanoseconds(limits_.command),
                             .thawInterval = inNanoseconds(limits_.thawInterval),
                             .isFrozenByHostItself = limits_.by == FreezeBy::kHost};
    {
        const AllSignalsBlocked blocked;
        // Unlike fork this runs no handlers of libraries, which might allocate or wait for a lock of a vanished thread.
        pid_ = _Fork();
        if (pid_ == 0) {
            runGuard(wiring);
        }
    }
    if (pid_ < 0) {
        pid_ = 0;
        return false;
    }
    orders_ = std::move(orders.writeEnd);
    ownReadEnd_ = std::move(orders.readEnd);
    events_ = std::move(events.readEnd);
    phase_ = Phase::kArmed;
    // The child cannot have been reaped by us yet, so the number is still its own.
    process_ = OwnedFd(openPidfd(pid_));
    return true;
}

Status FreezeGuard::awaitArmed() {
    if (!process_) {
        return failure("arm the freeze guard", "the guard process cannot be watched");
    }
    const auto record = awaitEvent();
    if (record && record->event == GuardEvent::kArmed) {
        return Done{};
    }
    if (record && record->event == GuardEvent::kArmingFailed) {
        awaitEnd(limits_.answer);
        return failure("arm the freeze guard",
                       std::string("the guard could not ") + nameOf(record->step) + ": " + errorText(record->error));
    }
    return failure("arm the freeze guard", isAlive() ? "the guard did not answer" : "the guard ended at once");
}

FreezeGuard::FreezeGuard(FreezeGuard&& other) noexcept
    : limits_(other.limits_),
      subject_(std::move(other.subject_)),
      orders_(std::move(other.orders_)),
      ownReadEnd_(std::move(other.ownReadEnd_)),
      events_(std::move(other.events_)),
      process_(std::move(other.process_)),
      pid_(std::exchange(other.pid_, 0)),
      phase_(std::exchange(other.phase_, Phase::kReleased)),
      report_(other.report_),
      window_(other.window_) {}

FreezeGuard::~FreezeGuard() {
    // The closed pipe is what a dead host looks like.
    orders_.close();
    if (pid_ == 0) {
        return;
    }
    if (phase_ == Phase::kArmed && !awaitEnd(limits_.answer)) {
        killNow(process_.get());
    }
    if (awaitEnd(kEndAfterDestruction)) {
        reap();
    }
}

Status FreezeGuard::announceFreezing() {
    if (phase_ != Phase::kArmed) {
        return failure("announce the freeze", "the guard serves one freeze only");
    }
    if (!isAlive() || !sendOrder(GuardOrder::kFreezing, Clock::now())) {
        return failure("announce the freeze", "the guard is gone");
    }
    phase_ = Phase::kAnnounced;
    const auto record = awaitEvent();
    if (!record || record->event != GuardEvent::kAcknowledged) {
        return failure("announce the freeze", isAlive() ? "the guard did not answer" : "the guard is gone");
    }
    return Done{};
}

Status FreezeGuard::tellFrozen(Clock::time_point frozenAt) {
    if (phase_ != Phase::kAnnounced) {
        return failure("tell the guard", "the freeze was not announced");
    }
    window_.open(frozenAt);
    phase_ = Phase::kFrozen;
    const bool isTold = sendOrder(GuardOrder::kFrozen, frozenAt);
    if (!isTold || !isAlive()) {
        return failure("tell the guard", "the guard is gone: the freeze is unguarded");
    }
    if (report()) {
        return failure("tell the guard", "the freeze took longer than allowed and the guard has acted");
    }
    return Done{};
}

void FreezeGuard::noteThaw(ThawOutcome outcome, Clock::time_point thawedAt) {
    window_.close(outcome, thawedAt);
}

Status FreezeGuard::release() {
    if (phase_ == Phase::kReleased) {
        return Done{};
    }
    const bool isLost = !isAlive();
    const bool hasEnded = sendOrder(GuardOrder::kReleased, Clock::now()) && awaitEnd(limits_.answer);
    if (!hasEnded) {
        // Stopped from outside, say. It must not wake up later and thaw what is somebody else's by then.
        killNow(process_.get());
        if (!awaitEnd(kEndAfterKill)) {
            return failure("release the guard", "process " + std::to_string(pid_) + " does not end");
        }
    }
    drainEvents();
    const std::optional<int> status = reap();
    // A guard that was killed after the look above ends as quickly as one that obeys: only its status tells them apart.
    const bool hasObeyed = !status || (WIFEXITED(*status) && WEXITSTATUS(*status) == 0);
    if (isLost || (hasEnded && !hasObeyed)) {
        return failure("release the guard", "the guard had ended before: the freeze was unguarded for a while");
    }
    return hasEnded ? Status(Done{}) : Status(failure("release the guard", "the guard had to be killed"));
}

bool FreezeGuard::isAlive() const {
    return process_ && !isReadable(process_.get(), milliseconds{0});
}

std::optional<GuardReport> FreezeGuard::report() {
    drainEvents();
    return report_;
}

const FreezeWindow& FreezeGuard::window() {
    drainEvents();
    return window_;
}

bool FreezeGuard::sendOrder(GuardOrder order, Clock::time_point at) {
    const OrderRecord record{order, 0, inNanoseconds(at.time_since_epoch())};
    return write(orders_.get(), &record, sizeof record) == static_cast<ssize_t>(sizeof record);
}

std::optional<EventRecord> FreezeGuard::awaitEvent() {
    // A guard that ended closed its end of the pipe, which makes it readable too: the death needs no second watch.
    EventRecord record{};
    if (isReadable(events_.get(), limits_.answer) &&
        read(events_.get(), &record, sizeof record) == static_cast<ssize_t>(sizeof record)) {
        return record;
    }
    return std::nullopt;
}

void FreezeGuard::drainEvents() {
    EventRecord record{};
    while (events_ && read(events_.get(), &record, sizeof record) == static_cast<ssize_t>(sizeof record)) {
        keep(record);
    }
}

void FreezeGuard::keep(const EventRecord& record) {
    const auto act = actOf(record.event);
    if (!act) {
        return;
    }
    report_ = GuardReport{*act, record.error, Clock::time_point(nanoseconds(record.at))};
    // After our own thaw the guard finds nothing to thaw, and that breaks nothing.
    const bool isHarmless = *act == GuardReport::Act::kFoundThawed && window_.isClosedByUs();
    if (*act != GuardReport::Act::kGaveUp && !isHarmless) {
        window_.breakOpen();
    }
}

bool FreezeGuard::awaitEnd(milliseconds limit) const {
    return !process_ || isReadable(process_.get(), limit);
}

std::optional<int> FreezeGuard::reap() {
    int status = 0;
    pid_t reaped = 0;
    do {
        reaped = waitpid(pid_, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    pid_ = 0;
    phase_ = Phase::kReleased;
    orders_.close();
    ownReadEnd_.close();
    events_.close();
    process_.close();
    return reaped < 0 ? std::nullopt : std::optional(status);
}

Failure FreezeGuard::failure(std::string operation, std::string cause) const {
    return Failure{
        .code = ExitCode::kFailed, .operation = std::move(operation), .subject = subject_, .cause = std::move(cause)};
}

}  // namespace tarnctl
