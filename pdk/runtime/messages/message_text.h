// Texts of messages and of their arguments, in UTF-8.
#pragma once

#include <unicode/fmtable.h>
#include <unicode/unistr.h>

#include <string>
#include <vector>

#include "cfimessage.h"
#include "cfimessagecatalog.h"

namespace znfi_runtime {

// An argument as text: numbers in plain digits, arrays as a list of their elements.
icu::UnicodeString argumentText(const icu::Formattable& argument);
// What is shown where no catalogue knows the id: "ID (argument, argument)". Never empty.
std::string idAndArguments(const CFiMessage& message);
// From the catalogue manager, or id and arguments where there is none.
std::string localizedText(CFiMessageCatalogManager* catalogs, const CFiMessage& message, const std::string& locale);

std::string utf8(const icu::UnicodeString& text);

}  // namespace znfi_runtime
