// The guard's side of the freeze guard: what runs in the forked process. Everything here is async-signal-safe, because
// the host may have had other threads at the fork: no allocation, no locale, no stdio, no exception, only system calls.
#pragma once

#include <cstdint>

namespace tarnctl {

// Borrowed descriptors, valid in the guard by inheritance; limits in nanoseconds.
struct GuardWiring {
    int directory;  // the mount point's directory
    int orders;     // read end, non-blocking
    int events;     // write end, non-blocking
    int host;       // pidfd of the host process
    std::int64_t frozenLimit;
    std::int64_t freezingLimit;
    std::int64_t commandLimit;
    std::int64_t thawInterval;
    // True where the freeze is the host's own system call: once the host process has ended none can be on its way.
    bool isFrozenByHostItself;
};

// Call in the child right after the fork; never returns.
[[noreturn]] void runGuard(const GuardWiring& wiring) noexcept;

}  // namespace tarnctl
