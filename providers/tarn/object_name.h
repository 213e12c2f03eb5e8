// Names of the framework's objects.
#pragma once

#include <string>
#include <string_view>

#include "zfi_entry_points.h"

// Exported by this plug-in beside the family.
extern "C" zfi_fn_fipgn_get_objid fipgn_get_objid;

// Null where the object, its id or its name is missing.
inline const char* nameOf(const znfi_objid* object) {
    return object == nullptr ? nullptr : object->name;
}
inline const char* nameOf(const zfi_domain* node) {
    return node == nullptr ? nullptr : nameOf(node->objid);
}
// The name of an entry of the node's object-id list; null where that is missing.
inline const char* listedName(const zfi_domain& node, int index) {
    return node.objids == nullptr || index >= node.objidCount ? nullptr : nameOf(node.objids[index]);
}
// The name of the first of some objects.
inline const char* firstName(znfi_objid** objects) {
    return objects == nullptr ? nullptr : nameOf(objects[0]);
}

// Names of the network backup protocol, whose file systems are not the plug-in's to mount or unmount.
inline bool isNdmpName(std::string_view name) {
    return name.starts_with("NDMP:");
}

// The mounted file system's type decides by its first letters: these also mean variants such as nfs4.
inline bool isXfsType(std::string_view type) {
    return type.starts_with("xfs");
}
inline bool isNfsType(std::string_view type) {
    return type.starts_with("nfs");
}
