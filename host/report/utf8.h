// Reading UTF-8 that may not be UTF-8: names of files are bytes, and both terminals and JSON want characters.
#pragma once

#include <cstddef>
#include <string_view>

namespace tarnctl {

struct Utf8Character {
    char32_t codePoint = 0;
    std::size_t length = 1;  // bytes it takes; 1 for a byte that begins no character
    bool isValid = false;    // false: over-long, surrogate, beyond U+10FFFF, cut off, or a stray byte
};

// The first character of `text`, which must not be empty.
Utf8Character firstUtf8Character(std::string_view text);

bool isUtf8(std::string_view text);

}  // namespace tarnctl
