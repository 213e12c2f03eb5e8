// Object control: the commands that every provider answers.
#include <charconv>
#include <string>
#include <string_view>

#include "cfipluginbase.h"

namespace {

constexpr std::string_view kTraceLevel = "trace_level";
constexpr int kHighestLevel = 7;

bool readLevel(const zfi_tstring& text, int& level) {
    const char* end = text.c_str() + text.length();
    const auto [rest, error] = std::from_chars(text.c_str(), end, level);
    return error == std::errc() && rest == end && level >= 0 && level <= kHighestLevel;
}

// Reports the threshold of the process, after setting it when a value is given.
int traceLevel(CFiObjctlArgs& arguments) {
    if (!arguments.input.empty()) {
        int level = 0;
        if (!readLevel(arguments.input.front().value, level)) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        znfi_trace_set_level(level);
    }
    arguments.output.push_back({"level", std::to_string(znfi_trace_level()).c_str(), "int"});
    return ZFI_OK;
}

}  // namespace

int CFiPluginBase::objctl(const zfi_tstring& command, CFiObjctlArgs& arguments) {
    return std::string_view(command.c_str(), command.length()) == kTraceLevel ? traceLevel(arguments)
                                                                              : ZFI_ERR_NOT_SUPPORTED;
}
