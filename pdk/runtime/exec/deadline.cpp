#include "deadline.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <thread>

namespace znfi_runtime {
namespace {

// A hundred years still fit the clock, counted in nanoseconds.
constexpr unsigned long kLongest = 100UL * 365 * 24 * 3600;

timespec asTimespec(std::chrono::nanoseconds left) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(left);
    timespec result{};
    result.tv_sec = static_cast<time_t>(whole.count());
    result.tv_nsec = static_cast<long>((left - whole).count());
    return result;
}

}  // namespace

Deadline deadlineAfter(unsigned long seconds) {
    return Clock::now() + std::chrono::seconds(static_cast<long>(std::min(seconds, kLongest)));
}

Ready waitUntil(int descriptor, Deadline deadline) {
    for (;;) {
        const std::chrono::nanoseconds left = deadline - Clock::now();
        if (left <= std::chrono::nanoseconds::zero()) {
            return Ready::kExpired;
        }
        pollfd watched{descriptor, POLLIN, 0};
        const timespec limit = asTimespec(left);
        const int count = ::ppoll(&watched, 1, &limit, nullptr);
        if (count < 0 && errno != EINTR) {
            return Ready::kBroken;
        }
        if (count > 0) {
            if ((watched.revents & POLLIN) != 0) {
                return Ready::kReadable;
            }
            return (watched.revents & POLLHUP) != 0 ? Ready::kHungUp : Ready::kBroken;
        }
    }
}

bool pauseUntil(std::chrono::milliseconds pause, Deadline deadline) {
    const Deadline now = Clock::now();
    if (now >= deadline) {
        return false;
    }
    std::this_thread::sleep_until(std::min(deadline, now + pause));
    return true;
}

}  // namespace znfi_runtime
