#include "host/report/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

#include "host/report/utf8.h"

namespace tarnctl {
namespace {

constexpr std::string_view kProgram = "tarnctl: ";
constexpr int kStep = 4;

struct Range {
    char32_t first;
    char32_t last;
};

// Not controls by their class, but able to hide or reorder what stands beside them on a terminal.
constexpr std::array<Range, 6> kDeceiving{
    {{0x061C, 0x061C}, {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xE0000, 0xE007F}}};

bool isPrintable(char32_t codePoint) {
    const bool isControl = codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
    return !isControl && std::none_of(kDeceiving.begin(), kDeceiving.end(), [codePoint](const Range& range) {
        return codePoint >= range.first && codePoint <= range.last;
    });
}

void appendEscaped(std::string& out, char32_t codePoint) {
    if (codePoint == U'\n') {
        out += "\\n";
    } else if (codePoint == U'\t') {
        out += "\\t";
    } else if (codePoint < 0x80) {
        fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned>(codePoint));
    } else {
        fmt::format_to(std::back_inserter(out), "\\u{{{:04x}}}", static_cast<unsigned>(codePoint));
    }
}

// Appends `text` line by line; every line after the first is set one step further in than `indent`.
void appendLines(std::string& out, std::string_view text, int indent) {
    while (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    bool isFirst = true;
    while (isFirst || !text.empty()) {
        if (!isFirst) {
            out.append(static_cast<std::size_t>(indent + kStep), ' ');
        }
        const std::size_t end = std::min(text.find('\n'), text.size());
        out += terminalText(text.substr(0, end));
        out += '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
        isFirst = false;
    }
}

void appendLabelled(std::string& out, std::string_view label, const std::vector<std::string>& texts, int indent) {
    for (const std::string& text : texts) {
        out.append(static_cast<std::size_t>(indent), ' ');
        out += label;
        appendLines(out, text, indent);
    }
}

void appendFailure(std::string& out, const Failure& failure, int indent) {
    out += terminalText(failure.operation);
    if (!failure.subject.empty()) {
        out += ": " + terminalText(failure.subject);
    }
    out += ": ";
    appendLines(out, failure.cause.empty() ? "no cause given" : failure.cause, indent);
    appendLabelled(out, "message: ", failure.messages, indent + kStep);
    appendLabelled(out, "trace: ", failure.traceLines, indent + kStep);
    for (const Failure& undoing : failure.undoing) {
        out.append(static_cast<std::size_t>(indent + kStep), ' ');
        out += "undoing: ";
        appendFailure(out, undoing, indent + kStep);
    }
}

std::optional<std::string> bytesOfHexadecimal(std::string_view digits) {
    constexpr int kBase = 16;
    std::string bytes;
    for (; digits.size() >= 2; digits.remove_prefix(2)) {
        unsigned char byte = 0;
        const char* end = digits.data() + 2;
        const auto read = std::from_chars(digits.data(), end, byte, kBase);
        if (read.ec != std::errc{} || read.ptr != end) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
    }
    return digits.empty() ? std::optional<std::string>(bytes) : std::nullopt;
}

void putFailure(Json& object, const Failure& failure) {
    object["operation"] = failure.operation;
    putBytes(object, "subject", failure.subject);
    object["cause"] = failure.cause;
    object["messages"] = failure.messages;
    object["trace"] = failure.traceLines;
    object["undoing"] = Json::array();
    for (const Failure& undoing : failure.undoing) {
        putFailure(object["undoing"].emplace_back(Json::object()), undoing);
    }
}

}  // namespace

std::string terminalText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Utf8Character character = firstUtf8Character(text);
        if (!character.isValid) {
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(text.front()));
        } else if (isPrintable(character.codePoint)) {
            out += text.substr(0, character.length);
        } else {
            appendEscaped(out, character.codePoint);
        }
        text.remove_prefix(character.length);
    }
    return out;
}

std::string failureText(const Failure& failure) {
    std::string out(kProgram);
    appendFailure(out, failure, 0);
    return out;
}

Json failureJson(const Failure& failure) {
    Json object = Json::object();
    object["ok"] = false;
    object["exitCode"] = static_cast<int>(failure.code);
    putFailure(object, failure);
    return object;
}

void putBytes(Json& object, const std::string& key, std::string_view bytes) {
    object[key] = std::string(bytes);
    if (isUtf8(bytes)) {
        return;
    }
    std::string hexadecimal;
    for (const char byte : bytes) {
        fmt::format_to(std::back_inserter(hexadecimal), "{:02x}", static_cast<unsigned char>(byte));
    }
    object[key + "Bytes"] = hexadecimal;
}

std::optional<std::string> getBytes(const Json& object, const std::string& key) {
    const auto coded = object.find(key + "Bytes");
    if (coded != object.end()) {
        return coded->is_string() ? bytesOfHexadecimal(coded->get_ref<const std::string&>()) : std::nullopt;
    }
    const auto plain = object.find(key);
    if (plain == object.end() || !plain->is_string()) {
        return std::nullopt;
    }
    return plain->get<std::string>();
}

std::string jsonText(const Json& value) {
    constexpr int kOneLine = -1;
    return value.dump(kOneLine, ' ', true, Json::error_handler_t::replace);
}

}  // namespace tarnctl
