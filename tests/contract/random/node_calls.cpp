#include <rapidcheck.h>

#include "road_calls.h"

namespace roads {
namespace {

void initNode(Model& model, const Arguments& a, Framework* framework) {
    const Expected expected = model.initNode(a.node);
    if (framework != nullptr) {
        zfi_domain& node = framework->node(a.node);
        RC_ASSERT(framework->call().init_node(&node, nullptr, 0, nullptr) == expected.status);
        RC_ASSERT((node.displayName == node.objid->name));
        RC_ASSERT(node.characteristics == static_cast<uint32_t>(ZFI_CHARACTERISTICS));
    }
}

// A second init_node makes a new record: the old one has to be released before.
bool hasNoRecord(const Model& model, const Arguments& a) {
    return !model.nodes[static_cast<size_t>(a.node)].hasRecord;
}

void initAltNode(Model& model, const Arguments& a, Framework* framework) {
    const Expected expected = model.initAltNode(a.node);
    if (framework != nullptr) {
        zfi_domain& node = framework->node(a.node);
        zfi_domain& other = framework->node(a.other);
        const auto entry = a.choice % 2 == 0 ? framework->call().init_altnode : framework->call().init_remnode;
        RC_ASSERT(entry(&other, nullptr, &node) == expected.status);
    }
}

void initAltNodeOfNothing(Model&, const Arguments& a, Framework* framework) {
    if (framework != nullptr) {
        RC_ASSERT(framework->call().init_altnode(&framework->node(a.node), nullptr, nullptr) == ZFI_ERR_FAILED);
    }
}

void deInitNode(Model& model, const Arguments& a, Framework* framework) {
    model.deInitNode(a.node);
    if (framework != nullptr) {
        framework->call().deinit_node(a.choice == 0 ? nullptr : &framework->node(a.node));
        framework->call().deinit_node(&framework->node(a.node));
    }
}

void listSubObjects(Model& model, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const Data* expected = model.dataOf(a.node);
    znfi_objid** objects = nullptr;
    int count = -1;
    const int status = framework->call().subobj_list(&framework->node(a.node), &objects, &count);
    RC_ASSERT(status == (expected == nullptr ? ZFI_ERR_INVALID_ARGUMENT : ZFI_OK));
    if (expected == nullptr) {
        return;
    }
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        names.emplace_back(objects[i]->name);
    }
    znfi_free_buf(objects, static_cast<size_t>(count) * sizeof(znfi_objid*));
    RC_ASSERT(names == expected->subObjects);
}

void saveState(Model& model, const Arguments& a, Framework* framework) {
    model.attach(a.node, false);
    if (framework == nullptr) {
        return;
    }
    zfi_blob blob{};
    RC_ASSERT(framework->call().process_providerstate(&framework->node(a.node), &blob, ZFI_STATE_SAVE) == ZFI_OK);
    const std::string text(blob.data);
    RC_ASSERT(blob.length == text.size() + 1);
    RC_ASSERT(blob.encoding == static_cast<int32_t>(ZFI_BLOB_TEXT));
    znfi_free_buf(blob.data, blob.length);
    RC_ASSERT(text == model.dataOf(a.node)->state.text());
}

bed::State stateNumber(int number) {
    const char* const types[] = {"xfs", "ext3", "nfs", "ufs", "xfs_old", ""};
    return {.device = "/dev/sd" + std::to_string(number % 4),
            .type = types[number % 6],
            .version = number % 3 == 0 ? "4" : "",
            .options = number % 2 == 0 ? "rw,noatime" : std::string(static_cast<size_t>(number) * 100, 'o'),
            .altName = number % 5 == 0 ? "/data_alt" : ""};
}

void restoreState(Model& model, const Arguments& a, Framework* framework) {
    const bed::State state = stateNumber(a.choice);
    const Expected expected = model.restoreState(a.node, state);
    if (framework != nullptr) {
        std::string text = state.text();
        zfi_blob blob{text.size() + 1, text.data(), ZFI_BLOB_TEXT, 0};
        RC_ASSERT(framework->call().process_providerstate(&framework->node(a.node), &blob, ZFI_STATE_RESTORE) ==
                  expected.status);
    }
}

// Blobs that change nothing: without data, of length 0, in another encoding; and an operation that is none.
void restoreNothing(Model& model, const Arguments& a, Framework* framework) {
    model.attach(a.node, false);
    if (framework == nullptr) {
        return;
    }
    char byte[] = "x";
    zfi_blob blob{2, byte, ZFI_BLOB_TEXT, 0};
    int status = ZFI_OK;
    zfi_op_providerstate operation = ZFI_STATE_RESTORE;
    switch (a.choice % 5) {
        case 0:
            blob.data = nullptr;
            status = ZFI_ERR_INVALID_ARGUMENT;
            break;
        case 1:
            blob.length = 0;
            break;
        case 2:
            blob.encoding = 7;
            break;
        case 3:
            operation = static_cast<zfi_op_providerstate>(2);
            break;
        default:
            RC_ASSERT(framework->call().process_providerstate(&framework->node(a.node), nullptr, ZFI_STATE_SAVE) ==
                      ZFI_ERR_INVALID_ARGUMENT);
            return;
    }
    RC_ASSERT(framework->call().process_providerstate(&framework->node(a.node), &blob, operation) == status);
}

void freeze(Model& model, const Arguments& a, Framework* framework) {
    const Expected expected = model.freeze(a.node);
    if (framework == nullptr) {
        return;
    }
    zfi_domain& node = framework->node(a.node);
    zfi_quiescenode own{nullptr, &node, nullptr};
    zfi_quiescenode* record = node.quiesce != nullptr ? node.quiesce : &own;
    zfi_quiescenode* list[] = {record, nullptr};
    const bool isList = a.choice % 2 == 0;
    if (a.choice % 4 < 2) {
        RC_ASSERT(framework->call().quiesce(isList ? nullptr : record, isList ? list : nullptr, isList ? 1 : 0,
                                            nullptr) == expected.status);
    } else {
        framework->call().unquiesce(isList ? nullptr : record, isList ? list : nullptr, isList ? 1 : 0);
    }
}

void freezeNothing(Model&, const Arguments& a, Framework* framework) {
    if (framework != nullptr) {
        zfi_quiescenode* hole[] = {nullptr};
        zfi_quiescenode** list = a.choice % 2 == 0 ? hole : nullptr;
        RC_ASSERT(framework->call().quiesce(nullptr, list, a.choice % 3, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
        framework->call().unquiesce(nullptr, list, a.choice % 3);
    }
}

void remount(Model& model, const Arguments& a, Framework* framework) {
    const Expected expected = model.remount(a.node);
    if (framework == nullptr) {
        return;
    }
    if (a.choice % 2 == 0) {
        RC_ASSERT(framework->call().cache_disable(&framework->node(a.node)) == expected.status);
    } else {
        framework->call().cache_enable(&framework->node(a.node));
    }
}

void claim(Model& model, const Arguments& a, Framework* framework) {
    const std::string& name = model.nodes[static_cast<size_t>(a.node)].name;
    const Expected expected = model.claim(name);
    if (framework == nullptr) {
        return;
    }
    znfi_objid* object = objid(name);
    znfi_objid** list = &object;
    int count = -77;
    if (a.choice % 2 == 0) {
        RC_ASSERT(framework->call().claim(object, &list, &count) == expected.status);
        RC_ASSERT((list == nullptr));
        RC_ASSERT(count == 0);
    } else {
        RC_ASSERT(framework->call().check_node_existence(&framework->node(a.node), &count) == ZFI_OK);
        RC_ASSERT(count == (expected.status == ZFI_CLAIMED ? 1 : 0));
    }
}

}  // namespace

const std::vector<Call>& nodeCalls() {
    static const std::vector<Call> calls = {
        {"init_node", initNode, hasNoRecord, 4},
        {"init_altnode", initAltNode, nullptr, 2},
        {"init_altnode of nothing", initAltNodeOfNothing},
        {"deinit_node", deInitNode, nullptr, 2},
        {"subobj_list", listSubObjects, nullptr, 2},
        {"process_providerstate: save", saveState, nullptr, 2},
        {"process_providerstate: restore", restoreState, nullptr, 2},
        {"process_providerstate: nothing", restoreNothing},
        {"quiesce", freeze, nullptr, 3},
        {"quiesce of nothing", freezeNothing},
        {"cache", remount, nullptr, 2},
        {"claim", claim, nullptr, 2},
    };
    return calls;
}

}  // namespace roads
