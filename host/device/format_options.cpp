#include "host/device/format_options.h"

#include <algorithm>
#include <sstream>

namespace tarnctl {
namespace {

Failure objectionTo(const std::string& text, std::string cause) {
    return Failure{ExitCode::kUsage, "check the options", text, std::move(cause)};
}

bool isPlain(char character) {
    return character >= ' ' && character <= '~' && character != '"';
}

std::vector<std::string> wordsOf(const std::string& text, char separator) {
    std::vector<std::string> words;
    std::istringstream in(text);
    for (std::string word; std::getline(in, word, separator);) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

// The option that names a second device or a file that mkfs writes; empty for none. For all types at once: what one
// type means by an option no other uses for something that is needed.
std::string secondTarget(const std::string& options) {
    for (const char* name : {"logdev=", "rtdev=", "device=", "name="}) {
        if (options.find(name) != std::string::npos) {
            return name;
        }
    }
    const std::vector<std::string> words = wordsOf(options, ' ');
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool hasOperand = i + 1 < words.size() && !words[i + 1].starts_with('-');
        const bool isJournal = words[i].starts_with("-j") && (words[i].size() > 2 || hasOperand);
        if (isJournal || words[i].starts_with("--j") || words[i].starts_with("-z")) {
            return words[i];
        }
    }
    return {};
}

// The option with which mount does not mount this device, or not all of it; empty for none.
std::string otherMount(const std::string& options) {
    for (const std::string& word : wordsOf(options, ',')) {
        for (const char* other :
             {"loop", "offset", "sizelimit", "bind", "rbind", "move", "remount", "X-mount.subdir"}) {
            if (word.substr(0, word.find('=')) == other) {
                return word;
            }
        }
    }
    return {};
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
    if (const std::string second = secondTarget(joined); !second.empty()) {
        return objectionTo(joined,
                           "\"" + second + "\" is refused: it names another device or file than the one checked");
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
    if (const std::string other = otherMount(options); !other.empty()) {
        return objectionTo(options, "\"" + other + "\" is refused: with it something else than this device is mounted");
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
