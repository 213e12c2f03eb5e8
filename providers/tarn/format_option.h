// Options of the methods that work on a volume.
#pragma once

#include <string>

#include "cfiformatoptionlist.h"
#include "cfistring.h"

// What mkfs of this type needs to run without asking: "-f" for xfs, jfs and reiserfs. option is untouched for any other
// type. Always 0.
int get_mkfs_option(const char* type, zfi_tstring& option);

// The value of an option; empty when it is missing.
std::string optionValue(const CFiFormatOptionList& options, const char* name);
