// JSON that was written by somebody else, perhaps by hand: read without any of the liberties that parsers take.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/report/failure.h"
#include "host/report/report.h"

namespace tarnctl {

inline constexpr std::size_t kLargestDocument = std::size_t{1} << 20;  // bytes

// Refuses (kUnsupported, with the reason): what is larger than kLargestDocument, begins with a byte-order mark, is no
// JSON in UTF-8, holds two members of one name in an object, or nests deeper than 16. `subject` is what the failure
// names. Never throws; any thread.
Result<Json> strictJson(std::string_view text, const std::string& subject);

}  // namespace tarnctl
