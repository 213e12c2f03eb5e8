#include "loaded_plugin.h"

#include <dlfcn.h>

#include <cstring>
#include <stdexcept>
#include <string>

LoadedPlugin::LoadedPlugin() : library_(::dlopen(TARNFI_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        throw std::runtime_error(::dlerror());
    }
#define ZFI_ENTRY(name, parameters, method, delayed, rule)                              \
    name = reinterpret_cast<zfi_fn_##name*>(::dlsym(library_, "tarnfi_fi_pgn_" #name)); \
    if (name == nullptr) {                                                              \
        throw std::runtime_error("the plug-in has no " #name);                          \
    }
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    znfi_trace_set_level(0);
    zfi_version version{};
    if (const int status = init(&init_, &version, "bench"); status != ZFI_OK) {
        throw std::runtime_error("init answered " + std::to_string(status));
    }
}

LoadedPlugin::~LoadedPlugin() {
    fini();
    ::dlclose(library_);
}

znfi_objid* objectId(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::strlen(name) + 1), ZFI_OBJID_NAMED);
}
