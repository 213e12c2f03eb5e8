// The NFS version in any option text, against the rule followed step by step with the C library.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "nfs_version.h"

namespace {

// Cut one character after the first "vers=" and read what stands behind the last "="; or read the second option behind
// its first character.
int byTheRule(std::string options) {
    if (char* tag = std::strstr(options.data(), "vers=")) {
        char* digit = tag + std::strlen("vers=");
        if (*digit != '\0') {
            digit[1] = '\0';
        }
        return static_cast<int>(std::strtol(std::strrchr(options.data(), '=') + 1, nullptr, 10));
    }
    char* rest = nullptr;
    strtok_r(options.data(), ",", &rest);
    const char* second = rest == nullptr ? nullptr : strtok_r(nullptr, ",", &rest);
    return second == nullptr ? 0 : static_cast<int>(std::strtol(second + 1, nullptr, 10));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string options(bytes.c_str());  // a mount table has no NUL bytes
    if (nfsVersionOf(options) != byTheRule(options)) {
        std::abort();
    }
    return 0;
}
