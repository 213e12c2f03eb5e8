// Names of snapshots: short, ascending with time, fit for file and volume names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnctl {

// "1k9x4m2ph-7q3d": nine digits of the milliseconds since 1970, four of 20 random bits, in lower-case letters and
// digits without i, l, o and u. Texts sort as the times do, until the year 3084. Pure; any thread.
std::string snapshotId(std::int64_t milliseconds, std::uint32_t random);

// The milliseconds of a text in that form; nothing for any other text.
std::optional<std::int64_t> millisecondsOfSnapshotId(std::string_view id);

}  // namespace tarnctl
