#include "scsi_device_data.h"

#include <charconv>

namespace {

// Takes a decimal number off the front of `text`, and the colon behind it where one is wanted.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number, bool wantsColon) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (!wantsColon) {
        return text.empty();
    }
    if (!text.starts_with(':')) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::string CScsiAddress::text() const {
    return std::to_string(host) + ':' + std::to_string(channel) + ':' + std::to_string(target) + ':' +
           std::to_string(lun);
}

std::optional<CScsiAddress> CScsiAddress::parse(std::string_view text) {
    CScsiAddress address;
    const bool isWhole = takeNumber(text, address.host, true) && takeNumber(text, address.channel, true) &&
                         takeNumber(text, address.target, true) && takeNumber(text, address.lun, false);
    return isWhole ? std::optional(address) : std::nullopt;
}

bool isDiskType(const std::optional<std::string>& type) {
    return type == "0" || type == "14" || type == "20";
}
