// The plug-in that ships, loaded and started as a host does it.
#pragma once

#include "zfi_entry_points.h"
#include "znfi.h"

struct LoadedPlugin {
    // Tracing is off. Throws std::runtime_error with what the loader or init said.
    LoadedPlugin();
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;
    ~LoadedPlugin();

#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name* name = nullptr;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY

  private:
    void* library_;
    zfi_init init_{};
};

// The object id of a name.
znfi_objid* objectId(const char* name);
