#include "messages/message_text.h"

#include <array>
#include <charconv>

namespace znfi_runtime {
namespace {

icu::UnicodeString fromAscii(const std::string& text) {
    return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()), US_INV);
}

icu::UnicodeString digits(double number) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return fromAscii(std::string(text.data(), end));
}

icu::UnicodeString elements(const icu::Formattable& list) {
    icu::UnicodeString text;
    int32_t count = 0;
    const icu::Formattable* element = list.getArray(count);
    for (int32_t i = 0; i < count; ++i) {
        text.append(i == 0 ? u"" : u", ").append(argumentText(element[i]));
    }
    return text;
}

}  // namespace

icu::UnicodeString argumentText(const icu::Formattable& argument) {
    UErrorCode status = U_ZERO_ERROR;
    switch (argument.getType()) {
        case icu::Formattable::kString:
            return argument.getString(status);
        case icu::Formattable::kLong:
            return fromAscii(std::to_string(argument.getLong(status)));
        case icu::Formattable::kInt64:
            return fromAscii(std::to_string(argument.getInt64(status)));
        case icu::Formattable::kDouble:
            return digits(argument.getDouble(status));
        case icu::Formattable::kDate:
            return digits(argument.getDate(status));
        case icu::Formattable::kArray:
            return elements(argument);
        default:
            return icu::UnicodeString(u"?");
    }
}

std::string idAndArguments(const CFiMessage& message) {
    std::string text = message.getMessageId().empty() ? "?" : message.getMessageId();
    const char* separator = " (";
    for (const icu::Formattable& argument : message.getArguments()) {
        text += separator + utf8(argumentText(argument));
        separator = ", ";
    }
    return message.getArguments().empty() ? text : text + ")";
}

std::string localizedText(CFiMessageCatalogManager* catalogs, const CFiMessage& message, const std::string& locale) {
    return catalogs == nullptr ? idAndArguments(message) : catalogs->getLocalizedMessage(message, locale);
}

std::string utf8(const icu::UnicodeString& text) {
    std::string bytes;
    return text.toUTF8String(bytes);
}

}  // namespace znfi_runtime
