#include "command_line.h"

#include <algorithm>
#include <utility>

namespace znfi_runtime {
namespace {

// Takes the word that starts at `at` and leaves `at` behind it; nothing when a quote stays open.
std::optional<std::string> takeWord(std::string_view line, std::size_t& at) {
    std::string word;
    while (at < line.size() && line[at] != ' ') {
        if (line[at] == '"') {
            const std::size_t close = line.find('"', at + 1);
            if (close == std::string_view::npos) {
                return std::nullopt;
            }
            word.append(line.substr(at + 1, close - at - 1));
            at = close + 1;
        } else {
            const std::size_t end = std::min(line.find_first_of(" \"", at), line.size());
            word.append(line.substr(at, end - at));
            at = end;
        }
    }
    return word;
}

}  // namespace

std::optional<std::vector<std::string>> parseCommandLine(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::vector<std::string> arguments;
    std::size_t at = line.find_first_not_of(' ');
    while (at != std::string_view::npos) {
        std::optional<std::string> word = takeWord(line, at);
        if (!word) {
            return std::nullopt;
        }
        arguments.push_back(std::move(*word));
        at = line.find_first_not_of(' ', at);
    }
    if (arguments.empty()) {
        return std::nullopt;
    }
    return arguments;
}

}  // namespace znfi_runtime
