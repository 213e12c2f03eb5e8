// The lists that disable_access and enable_access take.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "bed.h"

namespace bed {

// Appends an entry for a new node of that name with sub-object nodes of these names.
inline void addNodeToAccessList(Bed& bed, zfi_domain* node, const std::vector<const char*>& subObjects) {
    std::vector<zfi_domain*>& array = bed.subObjectArrays.emplace_back();
    for (const char* name : subObjects) {
        array.push_back(bed.node(name));
    }
    array.push_back(nullptr);
    zfi_node_subobj_list* previous = bed.accessList.empty() ? nullptr : &bed.accessList.back();
    zfi_node_subobj_list& last = bed.accessList.emplace_back();
    last.node = node;
    last.subobjs = subObjects.empty() ? nullptr : array.data();
    if (previous != nullptr) {
        previous->next = &last;
    }
}

inline void addToAccessList(Bed& bed, const char* node, const std::vector<const char*>& subObjects) {
    addNodeToAccessList(bed, bed.node(node), subObjects);
}

// Which nodes of the list carry the mark of an unmounted file system, in order.
inline std::function<void(Bed&)> offlineAre(const std::vector<bool>& expected) {
    return [expected](Bed& bed) {
        std::vector<bool> marked;
        for (const zfi_node_subobj_list& entry : bed.accessList) {
            marked.push_back((entry.node->state & ZFI_STATE_OFFLINE) != 0);
        }
        EXPECT_EQ(marked, expected);
    };
}

}  // namespace bed
