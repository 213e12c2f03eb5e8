#include "host/report/utf8.h"

namespace tarnctl {
namespace {

struct Lead {
    std::size_t length;
    char32_t bits;
    char32_t smallest;  // below it the encoding is over-long
};

Lead leadOf(unsigned char byte) {
    if (byte < 0x80) {
        return {1, byte, 0};
    }
    if (byte >= 0xC2 && byte < 0xE0) {
        return {2, byte & 0x1FU, 0x80};
    }
    if (byte >= 0xE0 && byte < 0xF0) {
        return {3, byte & 0x0FU, 0x800};
    }
    if (byte >= 0xF0 && byte < 0xF5) {
        return {4, byte & 0x07U, 0x10000};
    }
    return {0, 0, 0};
}

}  // namespace

Utf8Character firstUtf8Character(std::string_view text) {
    const Lead lead = leadOf(static_cast<unsigned char>(text.front()));
    if (lead.length == 0 || lead.length > text.size()) {
        return {};
    }
    char32_t codePoint = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) {
            return {};
        }
        codePoint = (codePoint << 6U) | (byte & 0x3FU);
    }
    const bool isSurrogate = codePoint >= 0xD800 && codePoint < 0xE000;
    if (codePoint < lead.smallest || isSurrogate || codePoint > 0x10FFFF) {
        return {};
    }
    return {codePoint, lead.length, true};
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const Utf8Character character = firstUtf8Character(text);
        if (!character.isValid) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

}  // namespace tarnctl
