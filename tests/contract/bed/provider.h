// The shipped plug-in, loaded as a framework loads it.
#pragma once

#include <string>

#include "zfi_entry_points.h"
#include "znfi.h"

namespace bed {

struct EntryPoints {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name* name = nullptr;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    zfi_fn_fipgn_get_objid* fipgn_get_objid = nullptr;
};

// A provider library: loaded, not started. Unloaded with the object. Throws std::runtime_error when it, or one of the
// family's names, cannot be found.
class Provider {
  public:
    Provider(const std::string& library, const std::string& provider);
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    ~Provider();

    const EntryPoints& call() const { return entries_; }
    void* symbol(const std::string& name) const;

  private:
    void* library_;
    EntryPoints entries_;
};

}  // namespace bed
