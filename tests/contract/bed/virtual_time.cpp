#include "virtual_time.h"

#include <poll.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <utility>

#include "layout.h"

#define BED_REPLACES extern "C" __attribute__((visibility("default")))

namespace {

constexpr long kNanoseconds = 1'000'000'000;
constexpr timespec kPause{0, 5'000'000};

bed::Waits recorded;
long skippedNanoseconds = 0;
size_t sleepsLeft = 0;  // until it happens; 0: nothing does
std::function<void()> atThatSleep;

long nanoseconds(const timespec& time) {
    return time.tv_sec * kNanoseconds + time.tv_nsec;
}

int systemPoll(pollfd* watched, nfds_t count, const timespec& limit, const sigset_t* mask) {
    timespec rest = limit;  // the kernel writes the remaining time back
    return static_cast<int>(syscall(SYS_ppoll, watched, count, &rest, mask, sizeof(long)));
}

}  // namespace

namespace bed {

void resetWaits() {
    recorded = {};
    atSleep(0, nullptr);
}
void atSleep(size_t nth, std::function<void()> happens) {
    sleepsLeft = nth;
    atThatSleep = std::move(happens);
}
const Waits& waits() {
    return recorded;
}

}  // namespace bed

BED_REPLACES unsigned sleep(unsigned seconds) {
    recorded.sleeps.push_back(static_cast<int>(seconds));
    skippedNanoseconds += static_cast<long>(seconds) * kNanoseconds;
    if (sleepsLeft > 0 && --sleepsLeft == 0) {
        std::exchange(atThatSleep, nullptr)();
    }
    return 0;
}

BED_REPLACES int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const int result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        const long shifted = nanoseconds(*now) + skippedNanoseconds;
        *now = {shifted / kNanoseconds, shifted % kNanoseconds};
    }
    return result;
}

// Waits in short steps; when the recorder says that it hangs, the rest of the limit has passed.
BED_REPLACES int ppoll(pollfd* watched, nfds_t count, const timespec* limit, const sigset_t* mask) {
    if (limit == nullptr) {
        return static_cast<int>(syscall(SYS_ppoll, watched, count, nullptr, mask, sizeof(long)));
    }
    for (long left = nanoseconds(*limit); left > 0; left -= nanoseconds(kPause)) {
        const int result = systemPoll(watched, count, kPause, mask);
        if (result != 0) {
            return result;
        }
        if (unlink(BED_HANGING) == 0) {
            recorded.limits.push_back(static_cast<int>(std::lround(static_cast<double>(left) / kNanoseconds)));
            skippedNanoseconds += left;
            return 0;
        }
    }
    return systemPoll(watched, count, timespec{0, 0}, mask);
}
