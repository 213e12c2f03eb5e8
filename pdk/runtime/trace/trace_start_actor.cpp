// Traces one line at every level with what the environment gave it.
#include "runtime_testing.h"

int main() {
    const auto log = znfi_testing::namedLog("actor");
    for (int level = 0; level <= 7; ++level) {
        log->trace(level, "level %d", level);
    }
    return znfi_trace_level();
}
