// What host and guard say to each other: fixed records over two pipes, each written with one call (atomic below
// PIPE_BUF). Both ends are the same program image, so no versions and no byte order.
#pragma once

#include <cstdint>
#include <type_traits>

namespace tarnctl {

enum class GuardOrder : std::uint32_t { kFreezing = 1, kFrozen = 2, kReleased = 3 };

struct OrderRecord {
    GuardOrder order;
    std::uint32_t reserved;
    std::int64_t
        at;  // nanoseconds of CLOCK_MONOTONIC: for kFrozen the completed freeze, from which the deadline counts
};

enum class GuardEvent : std::uint32_t {
    kArmed = 1,
    kArmingFailed = 2,
    kAcknowledged = 3,      // of kFreezing
    kThawedAtDeadline = 4,  // the host hung: the guard ended the freeze
    kFoundThawed = 5,       // the deadline passed, but nothing was frozen any more
    kGaveUp = 6,            // no thaw succeeded within the command's limit
};

enum class ArmingStep : std::uint32_t {
    kNone,
    kSignals,
    kSession,
    kWorkingDirectory,
    kDescriptors,
    kMemory,
    kDirectory
};

struct EventRecord {
    GuardEvent event;
    ArmingStep step;  // of kArmingFailed
    std::int32_t error;
    std::uint32_t reserved;
    std::int64_t at;  // nanoseconds of CLOCK_MONOTONIC
};

static_assert(std::is_trivially_copyable_v<OrderRecord> && sizeof(OrderRecord) == 16);
static_assert(std::is_trivially_copyable_v<EventRecord> && sizeof(EventRecord) == 24);

}  // namespace tarnctl
