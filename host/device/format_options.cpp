#include "host/device/format_options.h"

#include <algorithm>

namespace tarnctl {
namespace {

Failure objectionTo(const std::string& text, std::string cause) {
    return Failure{ExitCode::kUsage, "check the options", text, std::move(cause)};
}

bool isPlain(char character) {
    return character >= ' ' && character <= '~' && character != '"';
}

}  // namespace

Result<std::string> mkfsOptions(const std::vector<std::string>& options) {
    std::string joined;
    for (const std::string& option : options) {
        joined += (joined.empty() ? "" : " ") + option;
    }
    if (!std::all_of(joined.begin(), joined.end(), isPlain)) {
        return objectionTo(joined, "only printable ASCII characters are taken, and no double quote");
    }
    if (joined.find('/') != std::string::npos) {
        return objectionTo(joined, "a \"/\" is refused: it could name another device or file than the one checked");
    }
    const auto first = joined.find_first_not_of(' ');
    if (first != std::string::npos && joined[first] != '-') {
        return objectionTo(joined, "they must begin with \"-\", or mkfs takes them for the device");
    }
    return joined;
}

Result<std::string> mountOptions(const std::string& options) {
    if (!std::all_of(options.begin(), options.end(), isPlain) || options.find(' ') != std::string::npos) {
        return objectionTo(options, "only printable ASCII characters are taken, no blank and no double quote");
    }
    if (options.starts_with('-')) {
        return objectionTo(options, "they must not begin with \"-\"");
    }
    return options;
}

std::string optionText(const std::string& name, const std::string& value) {
    if (value.empty()) {
        return {};
    }
    std::string escaped;
    for (const char character : value) {
        switch (character) {
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            default:
                escaped += character;
        }
    }
    return "<FORMAT_OPTIONS><OPTION name=\"" + name + "\">" + escaped + "</OPTION></FORMAT_OPTIONS>";
}

}  // namespace tarnctl
