#include "host/provider/entry_points.h"

#include <dlfcn.h>

#include <cstring>

namespace tarnctl {
namespace {

template <typename Function>
bool resolve(void* library, const std::string& name, Function*& function) {
    void* symbol = ::dlsym(library, name.c_str());
    static_assert(sizeof(symbol) == sizeof(function));
    std::memcpy(&function, &symbol, sizeof(symbol));
    return symbol != nullptr;
}

}  // namespace

std::vector<std::string> resolveEntryPoints(void* library, const std::string& provider, EntryPoints& table) {
    std::vector<std::string> missing;
#define ZFI_ENTRY(name, parameters, method, delayed, rule)            \
    if (!resolve(library, provider + "_fi_pgn_" #name, table.name)) { \
        missing.push_back(provider + "_fi_pgn_" #name);               \
    }
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    return missing;
}

}  // namespace tarnctl
