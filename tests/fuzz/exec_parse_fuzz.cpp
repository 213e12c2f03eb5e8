// The runner's command line parser: any text is refused or parsed, and what it parsed can be quoted and parsed again to
// the same arguments.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "command_line.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    const auto arguments = znfi_runtime::parseCommandLine(line);
    if (!arguments) {
        return 0;
    }
    std::string quoted;
    for (const std::string& argument : *arguments) {
        quoted += '"' + argument + "\" ";
    }
    if (znfi_runtime::parseCommandLine(quoted) != arguments) {
        std::abort();
    }
    return 0;
}
