#include <cstring>
#include <new>
#include <string>

#include "cfiobjctlargs.h"
#include "cfistringtool.h"

namespace {

constexpr char kListStart[] = "<OBJCTL_ARG_LIST>";
constexpr char kListEnd[] = "</OBJCTL_ARG_LIST>";
constexpr char kElementEnd[] = "/>";

// Cuts a text with strtok_r, whose treatment of repeated delimiters is part of the format.
class Tokens {
  public:
    explicit Tokens(const char* text) : copy_(text), first_(copy_.data()) {}
    Tokens(const Tokens&) = delete;
    Tokens& operator=(const Tokens&) = delete;

    const char* next(const char* delimiter) {
        const char* token = strtok_r(first_, delimiter, &rest_);
        first_ = nullptr;
        return token;
    }
    bool nextIs(const char* delimiter, const char* expected) {
        const char* token = next(delimiter);
        return token != nullptr && std::strcmp(token, expected) == 0;
    }
    // Reads name=value; false when the name is another one or the value is missing.
    bool attribute(const char* name, zfi_tstring& value) {
        if (!nextIs("=", name)) {
            return false;
        }
        const char* token = next(" ");
        if (token == nullptr) {
            return false;
        }
        value = token;
        return true;
    }

  private:
    std::string copy_;
    char* first_;
    char* rest_ = nullptr;
};

void readArguments(Tokens& tokens, std::vector<CFiObjctlArg>& arguments) {
    if (!tokens.nextIs(" ", kListStart)) {
        return;
    }
    do {
        const char* start = tokens.next(" ");
        if (start == nullptr || std::strcmp(start, kListEnd) == 0) {
            return;
        }
        CFiObjctlArg argument;
        if (!tokens.attribute("arg", argument.arg) || !tokens.attribute("value", argument.value) ||
            !tokens.attribute("type", argument.type)) {
            return;
        }
        arguments.push_back(argument);
    } while (tokens.nextIs(" ", kElementEnd));
}

}  // namespace

CFiObjctlArgs::CFiObjctlArgs() = default;

CFiObjctlArgs::~CFiObjctlArgs() = default;

int CFiObjctlArgs::importArgs(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    try {
        Tokens tokens(text);
        readArguments(tokens, input);
    } catch (const std::bad_alloc&) {
        // By contract the caller sees what fitted.
    }
    return 0;
}

zfi_tstring CFiObjctlArgs::exportArgs() const {
    std::string text(kListStart);
    for (const CFiObjctlArg& argument : output) {
        const auto append = [&text](const zfi_tstring& part) { text.append(part.c_str(), part.length()); };
        text += " <OBJCTL_OUTPUT arg=";
        append(wholeText(argument.arg));
        text += " value=";
        append(wholeText(argument.value));
        text += " type=";
        append(wholeText(argument.type));
        text += " />";
    }
    text += " ";
    text += kListEnd;
    text += " ";
    return CFiStringTool::str2tstr(text);
}
