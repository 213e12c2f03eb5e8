#include "provider.h"

#include <dlfcn.h>

#include <stdexcept>

namespace bed {

Provider::Provider(const std::string& library, const std::string& provider)
    : library_(dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        throw std::runtime_error(dlerror());
    }
#define ZFI_ENTRY(name, parameters, method, delayed, rule) \
    entries_.name = reinterpret_cast<zfi_fn_##name*>(symbol(provider + "_fi_pgn_" #name));
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    entries_.fipgn_get_objid = reinterpret_cast<zfi_fn_fipgn_get_objid*>(symbol("fipgn_get_objid"));
}

Provider::~Provider() {
    dlclose(library_);
}

void* Provider::symbol(const std::string& name) const {
    void* found = dlsym(library_, name.c_str());
    if (found == nullptr) {
        throw std::runtime_error("no " + name + " in the library");
    }
    return found;
}

}  // namespace bed
