#include "messages/bundle_text.h"

#include <unicode/msgfmt.h>
#include <unicode/resbund.h>
#include <unicode/udata.h>

#include <algorithm>
#include <array>
#include <mutex>

#include "messages/message_text.h"

// The package that the build put together, as it is.
asm(".pushsection .rodata\n"
    ".balign 16\n"
    "znfi_bundles:\n"
    ".incbin \"" ZNFI_BUNDLES
    "\"\n"
    ".popsection\n");
extern "C" __attribute__((visibility("hidden"))) const char znfi_bundles[];

namespace znfi_runtime {
namespace {

constexpr std::string_view kRoot = "root";
constexpr std::array<std::string_view, 1> kTranslations = {"de"};
constexpr size_t kLongestLocale = 64;

// The package is known to ICU under its own name: the process's data directory stays what it is.
bool packageIsRegistered() {
    static const bool registered = [] {
        UErrorCode status = U_ZERO_ERROR;
        udata_setAppData("znfi", znfi_bundles, &status);
        return U_SUCCESS(status) != 0;
    }();
    return registered;
}

bool isLocaleCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<icu::UnicodeString> pattern(Table table, const std::string& bundle, const std::string& key) {
    if (!packageIsRegistered()) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::ResourceBundle texts(table == Table::kMessages ? "znfi-messages" : "znfi-status",
                                    icu::Locale(bundle.c_str()), status);
    icu::UnicodeString text = texts.getStringEx(key.c_str(), status);
    return U_SUCCESS(status) ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace

std::string bundleOf(std::string_view locale) {
    std::string name(locale.substr(0, std::min(locale.find_first_of(".@"), kLongestLocale)));
    std::transform(name.begin(), name.end(), name.begin(), [](char c) { return c == '-' ? '_' : lowered(c); });
    if (!std::all_of(name.begin(), name.end(), isLocaleCharacter)) {
        return std::string(kRoot);
    }
    while (!name.empty()) {
        if (std::find(kTranslations.begin(), kTranslations.end(), name) != kTranslations.end()) {
            return name;
        }
        const size_t region = name.find_last_of('_');
        name.resize(region == std::string::npos ? 0 : region);
    }
    return std::string(kRoot);
}

std::optional<std::string> bundleText(Table table, const std::string& bundle, const std::string& key,
                                      const std::vector<icu::UnicodeString>& arguments) {
    const std::optional<icu::UnicodeString> text = pattern(table, bundle, key);
    if (!text) {
        return std::nullopt;
    }
    const std::vector<icu::Formattable> values(arguments.begin(), arguments.end());
    UErrorCode status = U_ZERO_ERROR;
    for (const icu::Formattable& value : values) {
        value.getString(status);  // fails where the copy has no memory
    }
    UParseError where;
    const icu::MessageFormat format(*text, icu::Locale::getRoot(), where, status);
    icu::UnicodeString result;
    icu::FieldPosition ignored(icu::FieldPosition::DONT_CARE);
    format.format(values.data(), static_cast<int32_t>(values.size()), result, ignored, status);
    return U_SUCCESS(status) && !result.isEmpty() ? std::optional(utf8(result)) : std::nullopt;
}

}  // namespace znfi_runtime
