// Texts out of the ICU resource bundles that are part of the library. Any thread.
#pragma once

#include <unicode/unistr.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace znfi_runtime {

enum class Table { kMessages, kStatus };

// The bundle that serves a locale as administrators write it ("de", "de_AT", "de-DE", "de_DE.UTF-8", "de@euro"): the
// nearest one there is, or "root" for a language without one and for anything that is not a locale.
std::string bundleOf(std::string_view locale);

// The text of a key with its arguments put in; nothing when neither the bundle nor root has the key.
std::optional<std::string> bundleText(Table table, const std::string& bundle, const std::string& key,
                                      const std::vector<icu::UnicodeString>& arguments);

}  // namespace znfi_runtime
