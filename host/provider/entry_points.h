// The table of one provider's entry points, made from the one list of them.
#pragma once

#include <string>
#include <vector>

#include "zfi_entry_points.h"

namespace tarnctl {

struct EntryPoints {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name* name = nullptr;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
};

// Fills the table from a loaded library; answers the exported names that are missing.
std::vector<std::string> resolveEntryPoints(void* library, const std::string& provider, EntryPoints& table);

}  // namespace tarnctl
