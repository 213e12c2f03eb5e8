#include "vpd_identification.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::uint8_t kPageCode = 0x83;
constexpr std::size_t kHeader = 4;  // of the page, and of each designator in it

enum DesignatorType : std::uint8_t { kT10 = 1, kEui64 = 2, kNaa = 3, kNameString = 8 };

int rank(std::uint8_t type) {
    switch (type) {
        case kNaa:
            return 4;
        case kEui64:
            return 3;
        case kNameString:
            return 2;
        case kT10:
            return 1;
        default:
            return 0;
    }
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
    return text;
}

// Ended by the first NUL; what does not print is left out, trailing blanks too.
std::string printable(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (byte == 0) {
            break;
        }
        if (byte >= 0x20 && byte < 0x7F) {
            text += static_cast<char>(byte);
        }
    }
    const std::size_t last = text.find_last_not_of(' ');
    text.erase(last == text.npos ? 0 : last + 1);
    return text;
}

std::string written(std::uint8_t type, std::span<const std::uint8_t> identifier) {
    switch (type) {
        case kNaa:
            return "naa." + hexadecimal(identifier);
        case kEui64:
            return "eui." + hexadecimal(identifier);
        case kT10:
            return "t10." + printable(identifier);
        default:
            return printable(identifier);
    }
}

}  // namespace

std::string wwidFromIdentificationPage(std::span<const std::uint8_t> page) {
    if (page.size() < kHeader || page[1] != kPageCode) {
        return {};
    }
    const std::size_t length = static_cast<std::size_t>(page[2]) << 8U | page[3];
    std::span<const std::uint8_t> rest = page.subspan(kHeader, std::min(length, page.size() - kHeader));
    std::uint8_t bestType = 0;
    std::span<const std::uint8_t> best;
    while (rest.size() > kHeader && rest[3] <= rest.size() - kHeader) {
        const std::span<const std::uint8_t> identifier = rest.subspan(kHeader, rest[3]);
        const auto type = static_cast<std::uint8_t>(rest[1] & 0x0FU);
        const bool isOfTheUnit = (rest[1] & 0x30U) == 0;  // not of the port or the target
        const bool isBetter =
            rank(type) > rank(bestType) || (rank(type) == rank(bestType) && identifier.size() > best.size());
        if (isOfTheUnit && rank(type) > 0 && !identifier.empty() && isBetter) {
            bestType = type;
            best = identifier;
        }
        rest = rest.subspan(kHeader + identifier.size());
    }
    return best.empty() ? std::string() : written(bestType, best);
}
