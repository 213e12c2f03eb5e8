#include <rapidcheck.h>

#include <cstdlib>
#include <cstring>

#include "road_calls.h"

namespace roads {
namespace {

void fiTypes(Model&, const Arguments& a, Framework* framework) {
    static const char* const types[] = {"any", "ufs_lockfs", "xfs_freeze", "", "xfs", "any "};
    if (framework != nullptr) {
        zfi_domain& node = framework->node(a.node);
        int answer = -77;
        node.fiTypeResult = &answer;
        const int expected = a.choice % 6 < 3 ? 1 : 0;
        RC_ASSERT(framework->call().supports_fitype(&node, framework->text(types[a.choice % 6])) == expected);
        RC_ASSERT(answer == expected);
        RC_ASSERT(framework->call().supports_fitype(&node, nullptr) == 0);
        node.fiTypeResult = nullptr;
        RC_ASSERT(framework->call().supports_fitype(&node, framework->text("any")) == 0);
    }
}

void messages(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    zfi_msg_info* list = nullptr;
    RC_ASSERT(call.get_last_error(&list) == ZFI_OK);
    for (zfi_msg_info* message = list; message != nullptr; message = message->next) {
        RC_ASSERT(std::strlen(message->text) > 0u);
        char* text = nullptr;
        int length = 0;
        RC_ASSERT(call.get_locale_message(&length, message, a.choice % 2 == 0 ? "de" : nullptr, &text) == ZFI_OK);
        RC_ASSERT(static_cast<size_t>(length) == std::strlen(text) + 1);
        RC_ASSERT(call.del_locale_message(&text) == ZFI_OK);
        RC_ASSERT((text == nullptr));
    }
    RC_ASSERT(call.del_last_error(&list) == ZFI_OK);
    RC_ASSERT((list == nullptr));
    RC_ASSERT(call.get_last_error(&list) == ZFI_OK);
    RC_ASSERT((list == nullptr));
}

void objectControl(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    static const char* const texts[] = {
        "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=level value=6 type=int /> </OBJCTL_ARG_LIST> ", "<OBJCTL_ARG_LIST> <OBJ",
        ""};
    char* out = nullptr;
    long status = -77;
    const bool isKnown = a.choice % 2 == 0;
    RC_ASSERT(framework->call().objctl(framework->text(isKnown ? "trace_level" : "no such command"),
                                       a.choice % 4 == 3 ? nullptr : framework->text(texts[a.choice % 3]), &out,
                                       &status) == ZFI_OK);
    const bool hasText = out != nullptr;
    std::free(out);
    RC_ASSERT(hasText);
    RC_ASSERT((status == ZFI_ERR_NOT_SUPPORTED) == !isKnown);
}

void information(Model&, const Arguments&, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    zfi_provider_list* list = nullptr;
    RC_ASSERT(call.get_provider_info(&list) == ZFI_OK);
    int types = 0;
    while (list->fiTypes[types] != nullptr) {
        ++types;
    }
    const bool isAlone = list->next == nullptr;
    znfi_free_providerlist(list);
    RC_ASSERT(isAlone);
    RC_ASSERT(types == 5);
    RC_ASSERT(call.get_provider_info(nullptr) == ZFI_ERR_INVALID_ARGUMENT);
    const char* text = nullptr;
    RC_ASSERT(call.errmsg(ZFI_ERR_NOT_MOUNTED, &text) == ZFI_OK);
    RC_ASSERT(std::strlen(text) > 0u);
}

void emptyLists(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    char* name = framework->text("name");
    void* dirt = name;
    int count = -77;
    RC_ASSERT(call.enumerate_nodes(reinterpret_cast<zfi_node_list**>(&dirt), &count, 0, name) == ZFI_OK);
    RC_ASSERT((dirt == nullptr));
    RC_ASSERT(count == 0);
    RC_ASSERT(call.enumerate_host_nodes(reinterpret_cast<zfi_host_node_list**>(&dirt), &count, name) == ZFI_OK);
    RC_ASSERT(call.enumerate_enclosures(reinterpret_cast<zfi_enclosure_node_list**>(&dirt), &count, name) == ZFI_OK);
    RC_ASSERT(call.enumerate_fims(reinterpret_cast<zfi_fim_list**>(&dirt)) == ZFI_OK);
    RC_ASSERT(call.enumerate_group_nodes(reinterpret_cast<zfi_group_node_list**>(&dirt)) == ZFI_OK);
    RC_ASSERT(call.enumerate_associations(reinterpret_cast<zfi_assoc_list**>(&dirt)) == ZFI_OK);
    RC_ASSERT(call.get_associated_nodes(nullptr, reinterpret_cast<zfi_node_list**>(&dirt)) == ZFI_OK);
    RC_ASSERT(call.isvalid_node_association(nullptr, &count) == ZFI_OK);
    znfi_objid** objects = nullptr;
    znfi_objid* object = framework->node(a.node).objid;
    RC_ASSERT(call.interpose(&framework->node(a.node), &object, &objects, &count) == ZFI_OK);
    RC_ASSERT((objects == nullptr));
}

void notifications(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    zfi_domain* node = &framework->node(a.node);
    char* text = framework->text("text");
    RC_ASSERT(call.pre_prepare(node) == ZFI_OK);
    RC_ASSERT(call.post_deport(node, node) == ZFI_OK);
    RC_ASSERT(call.revisit_pgn_nodes(nullptr) == ZFI_OK);
    RC_ASSERT(call.start_build_alttree(node, nullptr, nullptr) == ZFI_OK);
    RC_ASSERT(call.pre_deport_resource(text, 0, text) == ZFI_OK);
    RC_ASSERT(call.set_op_status(node, a.choice) == ZFI_OK);
    RC_ASSERT(call.set_comp_status(node, 0, text, 0) == ZFI_OK);
    RC_ASSERT(call.config(node, 0, text, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.reaccess_altnode(node, nullptr, nullptr, nullptr, nullptr, nullptr, 0, ZFI_INTENT_DESTROY) ==
              ZFI_OK);
    RC_ASSERT(call.reaccess_altnode(node, objid("/no/such/path"), nullptr, nullptr, nullptr, nullptr, 0,
                                    ZFI_INTENT_READ) == ZFI_ERR_ALT_PATH_MISSING);
}

void unsupported(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    zfi_domain* node = &framework->node(a.node);
    char* text = framework->text("text");
    char* texts[] = {text, nullptr};
    char** list = texts;
    znfi_objid* object = node->objid;
    znfi_objid** objects = &object;
    long number = -77;
    RC_ASSERT(call.restore(&object, &object, 1, text, text, &list, &number, 0, &number) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT((list == nullptr));
    RC_ASSERT(call.resync(&object, &object, 1, text, text, 0, &number) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.get_status(&object, &object, 1, text, 0, &number) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.query_valid_secondaries(text, &objects, &number) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.unformat(texts, 1, 0) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.deport_resource(text, text, text, text, 0) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.import_resource(texts, text, text, text, 0, texts, text) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.getattr(node, node, nullptr, nullptr) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.getSnapshotSetId(node, texts) == ZFI_ERR_NOT_SUPPORTED);
    RC_ASSERT(call.set_restorepaths(node, text, 0) == ZFI_ERR_NOT_SUPPORTED);
}

}  // namespace

const std::vector<Call>& questionCalls() {
    static const std::vector<Call> calls = {
        {"supports_fitype", fiTypes}, {"messages", messages, nullptr, 2}, {"objctl", objectControl},
        {"information", information}, {"empty lists", emptyLists},        {"notifications", notifications},
        {"unsupported", unsupported},
    };
    return calls;
}

std::vector<Call> allCalls() {
    std::vector<Call> all;
    for (const auto* calls : {&nodeCalls(), &treeCalls(), &sessionCalls(), &questionCalls()}) {
        all.insert(all.end(), calls->begin(), calls->end());
    }
    return all;
}

}  // namespace roads
