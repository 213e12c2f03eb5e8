// The options of format and online as the providers take them.
#pragma once

#include <string>
#include <vector>

#include "host/report/failure.h"

namespace tarnctl {

// The words for mkfs as one text: they go into its command line as they are. Refused (kUsage): characters that are not
// printable ASCII or are a double quote, a slash and the options that name a journal, log or other second device or a
// file to write (an option must not lead mkfs to another device or file than the one that was checked; names without a
// slash are looked for in "/"), and a text that does not begin with "-" (it would be an operand). Empty for no options.
Result<std::string> mkfsOptions(const std::vector<std::string>& options);

// Options for mount -o, one text without blanks. Refused (kUsage): what is not printable ASCII, blank, double quote, a
// leading "-", and those with which something else than the whole device is mounted, or nothing new (loop, bind,
// remount and their kind).
Result<std::string> mountOptions(const std::string& options);

// <FORMAT_OPTIONS><OPTION name="NAME">VALUE</OPTION></FORMAT_OPTIONS>, the value escaped; empty for an empty value.
std::string optionText(const std::string& name, const std::string& value);

}  // namespace tarnctl
