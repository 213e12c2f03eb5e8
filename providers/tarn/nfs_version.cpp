#include "nfs_version.h"

#include <cstdlib>
#include <string>

namespace {

int numberAt(std::string_view text) {
    return static_cast<int>(std::strtol(std::string(text).c_str(), nullptr, 10));
}

}  // namespace

int nfsVersionOf(std::string_view options) {
    constexpr std::string_view kTag = "vers=";
    if (const size_t tag = options.find(kTag); tag != std::string_view::npos) {
        const std::string_view digit = options.substr(tag + kTag.size(), 1);
        return digit == "=" ? 0 : numberAt(digit);
    }
    const size_t first = options.find_first_not_of(',');
    const size_t gap = first == std::string_view::npos ? first : options.find(',', first);
    const size_t second = gap == std::string_view::npos ? gap : options.find_first_not_of(',', gap);
    if (second == std::string_view::npos) {
        return 0;
    }
    const std::string_view word = options.substr(second, options.find(',', second) - second);
    return numberAt(word.substr(1));
}
