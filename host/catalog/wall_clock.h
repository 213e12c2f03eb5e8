// The one clock of the catalog's times.
#pragma once

#include <chrono>
#include <cstdint>

namespace tarnctl {

// Nanoseconds of the wall clock since 1970, UTC.
inline std::int64_t wallClockNs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

}  // namespace tarnctl
