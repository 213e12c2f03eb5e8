// One traced text on its way to a destination.
#pragma once

#include <ctime>
#include <string_view>

namespace znfi_runtime {

struct TraceLine {
    timespec time;
    int level;
    std::string_view plugin;  // both NUL-terminated behind their end
    std::string_view text;
};

}  // namespace znfi_runtime
