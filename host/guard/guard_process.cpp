#include "host/guard/guard_process.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

#include "host/guard/guard_protocol.h"

namespace tarnctl {
namespace {

std::int64_t monotonicNow() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// Touches the stack that the guard will ever need, so that no page of it is missing later.
[[gnu::noinline]] void prefaultStack() noexcept {
    volatile char page[64 * 1024];
    for (std::size_t i = 0; i < sizeof page; i += 1024) {
        page[i] = 0;
    }
}

// By system call, because the library's function leaves out the two signals that it uses itself.
bool blockEverySignal() noexcept {
    const std::uint64_t all = ~std::uint64_t{0};
    return syscall(SYS_rt_sigprocmask, SIG_SETMASK, &all, nullptr, sizeof all) == 0;
}

bool closeAllBut(std::array<int, 4> kept) noexcept {
    std::sort(kept.begin(), kept.end());
    unsigned next = 0;
    for (const int fd : kept) {
        const auto current = static_cast<unsigned>(fd);
        if (current > next && close_range(next, current - 1, 0) != 0) {
            return false;
        }
        next = current + 1;
    }
    return close_range(next, ~0U, 0) == 0;
}

// Where it is not allowed the guard is as likely a victim as the host: no reason not to guard.
void avoidOutOfMemoryKiller() noexcept {
    const int fd = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (fd >= 0) {
        [[maybe_unused]] const ssize_t written = write(fd, "-1000", 5);
        close(fd);
    }
}

class Guard {
  public:
    explicit Guard(const GuardWiring& wiring) noexcept : wiring_(wiring) {}

    ArmingStep arm() noexcept;
    void report(GuardEvent event, int error, ArmingStep step = ArmingStep::kNone) noexcept;
    void watch() noexcept;

  private:
    enum class Phase { kArmed, kFreezing, kFrozen, kReleased };

    void wait() noexcept;
    void takeOrders() noexcept;
    void obey(const OrderRecord& order) noexcept;
    void judge() noexcept;
    void startThawing() noexcept;
    void tryThaw() noexcept;
    void settle(GuardEvent event, int error) noexcept;
    std::int64_t nextWakeUp() const noexcept;
    bool isHostGone() const noexcept { return hasHostExited_ || isOrderPipeClosed_; }
    bool isWasNotFrozenFinal() const noexcept;

    const GuardWiring wiring_;
    Phase phase_ = Phase::kArmed;
    bool hasHostExited_ = false;
    bool isOrderPipeClosed_ = false;
    bool isThawing_ = false;
    bool hasThawed_ = false;
    bool isDeadlineOver_ = false;
    bool isOrphanHandled_ = false;
    std::int64_t deadline_ = 0;
    std::int64_t giveUpAt_ = 0;
    std::int64_t nextTry_ = 0;
};

ArmingStep Guard::arm() noexcept {
    if (!blockEverySignal()) {
        return ArmingStep::kSignals;
    }
    if (setsid() < 0) {
        return ArmingStep::kSession;
    }
    if (chdir("/") != 0) {
        return ArmingStep::kWorkingDirectory;
    }
    if (!closeAllBut({wiring_.directory, wiring_.orders, wiring_.events, wiring_.host})) {
        return ArmingStep::kDescriptors;
    }
    prctl(PR_SET_NAME, "tarnctl-guard");
    avoidOutOfMemoryKiller();
    prefaultStack();
    if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0) {
        return ArmingStep::kMemory;
    }
    struct stat status {};
    if (fstat(wiring_.directory, &status) != 0) {
        return ArmingStep::kDirectory;
    }
    return ArmingStep::kNone;
}

void Guard::report(GuardEvent event, int error, ArmingStep step) noexcept {
    const EventRecord record{event, step, error, 0, monotonicNow()};
    // Nobody may be there to read it any more; SIGPIPE is blocked, and the pipe never fills.
    [[maybe_unused]] const ssize_t written = write(wiring_.events, &record, sizeof record);
}

void Guard::watch() noexcept {
    while (true) {
        wait();
        takeOrders();
        if (phase_ == Phase::kReleased || (phase_ == Phase::kArmed && isHostGone())) {
            return;
        }
        judge();
        if (isOrphanHandled_ && !isThawing_) {
            return;
        }
    }
}

std::int64_t Guard::nextWakeUp() const noexcept {
    if (isThawing_) {
        return nextTry_;
    }
    return phase_ == Phase::kArmed || isDeadlineOver_ ? -1 : deadline_;
}

void Guard::wait() noexcept {
    // A negative descriptor is skipped by poll: what has ended stays readable for ever.
    std::array<pollfd, 2> watched{
        {{isOrderPipeClosed_ ? -1 : wiring_.orders, POLLIN, 0}, {hasHostExited_ ? -1 : wiring_.host, POLLIN, 0}}};
    const std::int64_t wakeUp = nextWakeUp();
    int timeout = -1;
    if (wakeUp >= 0) {
        const std::int64_t milliseconds = (wakeUp - monotonicNow() + 999'999) / 1'000'000;
        timeout = static_cast<int>(std::clamp<std::int64_t>(milliseconds, 0, INT_MAX));
    }
    if (poll(watched.data(), watched.size(), timeout) > 0 && watched[1].revents != 0) {
        hasHostExited_ = true;
    }
}

// What the host wrote before it ended is still in the pipe, so the last order is always read before its end is judged.
void Guard::takeOrders() noexcept {
    while (!isOrderPipeClosed_) {
        OrderRecord order{};
        const ssize_t got = read(wiring_.orders, &order, sizeof order);
        if (got == static_cast<ssize_t>(sizeof order)) {
            obey(order);
        } else if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        } else {
            isOrderPipeClosed_ = true;
        }
    }
}

void Guard::obey(const OrderRecord& order) noexcept {
    switch (order.order) {
        case GuardOrder::kFreezing:
            phase_ = Phase::kFreezing;
            deadline_ = monotonicNow() + wiring_.freezingLimit;
            report(GuardEvent::kAcknowledged, 0);
            break;
        case GuardOrder::kFrozen:
            phase_ = Phase::kFrozen;
            deadline_ = order.at + wiring_.frozenLimit;
            isDeadlineOver_ = hasThawed_;
            break;
        case GuardOrder::kReleased:
            phase_ = Phase::kReleased;
            break;
    }
}

void Guard::judge() noexcept {
    const std::int64_t now = monotonicNow();
    if (isHostGone() && !isOrphanHandled_) {
        isOrphanHandled_ = true;
        startThawing();
    } else if (!isThawing_ && !isDeadlineOver_ && now >= deadline_) {
        startThawing();
    }
    if (isThawing_ && now >= nextTry_) {
        tryThaw();
    }
}

void Guard::startThawing() noexcept {
    isThawing_ = true;
    nextTry_ = monotonicNow();
    giveUpAt_ = nextTry_ + wiring_.commandLimit;
}

// Whether "was not frozen" means that no freeze is coming any more. A freeze command of a dead host may still be
// starting.
bool Guard::isWasNotFrozenFinal() const noexcept {
    return phase_ == Phase::kFrozen || hasThawed_ || (wiring_.isFrozenByHostItself && hasHostExited_);
}

void Guard::tryThaw() noexcept {
    const int error = ioctl(wiring_.directory, FITHAW, 0) == 0 ? 0 : errno;
    if (error == 0) {
        hasThawed_ = true;
        settle(GuardEvent::kThawedAtDeadline, 0);
    } else if (error == EINVAL && isWasNotFrozenFinal()) {
        settle(GuardEvent::kFoundThawed, error);
    } else if (monotonicNow() >= giveUpAt_) {
        settle(GuardEvent::kGaveUp, error);
    } else {
        nextTry_ = monotonicNow() + wiring_.thawInterval;
    }
}

// With a living host the guard stays: the host may still die between a freeze of its own proof and the thaw of that.
void Guard::settle(GuardEvent event, int error) noexcept {
    isThawing_ = false;
    isDeadlineOver_ = true;
    report(event, error);
}

}  // namespace

void runGuard(const GuardWiring& wiring) noexcept {
    Guard guard(wiring);
    const ArmingStep failedStep = guard.arm();
    if (failedStep != ArmingStep::kNone) {
        guard.report(GuardEvent::kArmingFailed, errno, failedStep);
        _exit(1);
    }
    guard.report(GuardEvent::kArmed, 0);
    guard.watch();
    _exit(0);
}

}  // namespace tarnctl
