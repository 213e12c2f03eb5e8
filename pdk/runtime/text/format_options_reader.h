// The XML document of format options.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "cfiformatoptionlist.h"

namespace znfi_runtime {

// The options of <FORMAT_OPTIONS><OPTION name="…">value</OPTION>…</FORMAT_OPTIONS>, in UTF-8. A later option of one
// name replaces an earlier one. Any other element, text between the options, an option without a name, a document type
// declaration and whatever is not well-formed XML make the whole text malformed: no options then. std::bad_alloc when
// memory is out.
std::map<std::string, CFiFormatOption> readFormatOptions(std::string_view text);

}  // namespace znfi_runtime
