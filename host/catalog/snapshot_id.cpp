#include "host/catalog/snapshot_id.h"

namespace tarnctl {
namespace {

// Ascending in ASCII, so that texts compare as numbers.
constexpr std::string_view kDigits = "0123456789abcdefghjkmnpqrstvwxyz";
constexpr unsigned kBitsPerDigit = 5;
constexpr std::size_t kTimeDigits = 9;
constexpr std::size_t kRandomDigits = 4;
constexpr std::size_t kLength = kTimeDigits + 1 + kRandomDigits;

std::string digits(std::uint64_t value, std::size_t count) {
    std::string text(count, '0');
    for (std::size_t i = count; i-- > 0;) {
        text[i] = kDigits[value & ((1U << kBitsPerDigit) - 1)];
        value >>= kBitsPerDigit;
    }
    return text;
}

}  // namespace

std::string snapshotId(std::int64_t milliseconds, std::uint32_t random) {
    return digits(static_cast<std::uint64_t>(milliseconds), kTimeDigits) + "-" + digits(random, kRandomDigits);
}

std::optional<std::int64_t> millisecondsOfSnapshotId(std::string_view id) {
    if (id.size() != kLength || id[kTimeDigits] != '-') {
        return std::nullopt;
    }
    std::int64_t milliseconds = 0;
    for (std::size_t i = 0; i < kLength; ++i) {
        const std::size_t digit = kDigits.find(id[i]);
        if (i != kTimeDigits && digit == std::string_view::npos) {
            return std::nullopt;
        }
        if (i < kTimeDigits) {
            milliseconds = (milliseconds << kBitsPerDigit) | static_cast<std::int64_t>(digit);
        }
    }
    return milliseconds;
}

}  // namespace tarnctl
