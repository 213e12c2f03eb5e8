// A command line as the runner understands it: no shell, so nothing of it can be expanded.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace znfi_runtime {

// The arguments of a command line, program first. Only the blank separates (any number of them); double quotes group,
// also inside a word, and "" is an empty argument; no other character means anything, so an argument never holds a
// double quote. Nothing is returned for an unbalanced quote, for a line without arguments, and for a NUL byte, which
// no program could be given.
std::optional<std::vector<std::string>> parseCommandLine(std::string_view line);

}  // namespace znfi_runtime
