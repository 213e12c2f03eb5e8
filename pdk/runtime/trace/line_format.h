// How a traced text looks in the file: "time process level plug-in road text", time in UTC with milliseconds; "-" where
// there is no plug-in or road. One trailing line break of the text is dropped, its further lines begin with "| ".
#pragma once

#include <cstddef>
#include <string_view>

#include "trace/trace_line.h"

namespace znfi_runtime {

// Bytes that formatLine may write at most.
size_t formattedBound(const TraceLine& line, std::string_view road) noexcept;
// Writes the line with its line break, not terminated, and returns its bytes.
size_t formatLine(const TraceLine& line, std::string_view road, char* out) noexcept;

}  // namespace znfi_runtime
