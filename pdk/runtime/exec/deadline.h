// Waiting on one descriptor until a point of the monotonic clock.
#pragma once

#include <chrono>

namespace znfi_runtime {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

// `seconds` from now; a number too large for the clock means a deadline that is never reached.
Deadline deadlineAfter(unsigned long seconds);

// What a descriptor has to offer. Expired also when there is something to read: a flood of output cannot outrun the
// deadline.
enum class Ready { kReadable, kHungUp, kExpired, kBroken };

// Sleeps until the descriptor is readable or hung up (nothing left to read, no writer left) or the deadline has passed.
// Signals do not shorten the wait.
Ready waitUntil(int descriptor, Deadline deadline);

// Sleeps for the pause, but not beyond the deadline. False when the deadline has passed.
bool pauseUntil(std::chrono::milliseconds pause, Deadline deadline);

}  // namespace znfi_runtime
