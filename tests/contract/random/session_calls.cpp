#include <rapidcheck.h>

#include "road_calls.h"

namespace roads {
namespace {

const char* sessionNumber(int number) {
    return number % kSessions == 0 ? "first" : "second";
}

// No node, one alone, one or two in a list, or one twice.
struct Nodes {
    explicit Nodes(const Arguments& a) {
        switch (a.choice / 2 % 5) {
            case 0:
                list = {a.node};
                isAlone = true;
                break;
            case 1:
                list = {a.node, a.other};
                break;
            case 2:
                list = {a.node};
                break;
            case 3:
                list = {a.node, a.node};
                break;
            default:
                break;
        }
    }
    std::vector<int> list;
    bool isAlone = false;
};

// The three arguments that hand over the nodes.
struct Handed {
    Handed(Framework& framework, const Nodes& nodes, const char* session) {
        zfi_splitnode** all = framework.splitNodes(nodes.list, session);
        single = nodes.isAlone ? all[0] : nullptr;
        list = nodes.isAlone ? nullptr : all;
        count = nodes.isAlone ? 0 : static_cast<int>(nodes.list.size());
    }
    zfi_splitnode* single;
    zfi_splitnode** list;
    int count;
};

void select(Model& model, const Arguments& a, Framework* framework) {
    const Nodes nodes(a);
    model.addNodes(a.choice % kSessions, nodes.list);
    if (framework != nullptr) {
        char* id = framework->text(sessionNumber(a.choice));
        const Handed to(*framework, nodes, id);
        const auto entry = a.other % 2 == 0 ? framework->call().select : framework->call().preselect;
        RC_ASSERT(entry(to.single, id, to.list, to.count) == ZFI_OK);
    }
}

void prepare(Model&, const Arguments& a, Framework* framework) {
    const Nodes nodes(a);
    if (framework != nullptr) {
        char* id = framework->text(sessionNumber(a.choice));
        const Handed to(*framework, nodes, id);
        const bed::EntryPoints& call = framework->call();
        RC_ASSERT(call.prepare(to.single, id, to.list, to.count, 0) == ZFI_OK);
        RC_ASSERT(call.isready(to.single, id, to.list, to.count) == ZFI_OK);
        RC_ASSERT(call.verify_qscombos(to.single, to.list, to.count) == ZFI_OK);
        RC_ASSERT(call.set_import_options(to.single, to.list, to.count, nullptr, 0, nullptr) == ZFI_ERR_NOT_SUPPORTED);
    }
}

// Lists that are none, and no session: refused, and nothing is recorded.
void refused(Model&, const Arguments& a, Framework* framework) {
    if (framework == nullptr) {
        return;
    }
    const bed::EntryPoints& call = framework->call();
    char* id = framework->text(sessionNumber(a.choice));
    zfi_splitnode** list = framework->splitNodes({a.node}, id);  // ends in a null pointer
    znfi_objid* untouched = objid("untouched");
    znfi_objid** ids = &untouched;
    int count = -77;
    RC_ASSERT(call.select(list[0], nullptr, nullptr, 0) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.select(nullptr, id, list, 2) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.preselect(nullptr, id, nullptr, 1) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.prepare(nullptr, id, list, -1, 0) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.make(nullptr, id, list, 2, &ids, &count) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.make(list[0], id, nullptr, 0, nullptr, &count) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.make(list[0], id, nullptr, 0, &ids, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.update_snapshot_handle(nullptr, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT(call.update_snapshot_handle(id, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
    RC_ASSERT((ids == &untouched));
    RC_ASSERT(count == -77);
}

void updateHandle(Model& model, const Arguments& a, Framework* framework) {
    const std::string snapshot = a.choice % 6 == 5 ? "" : "/dev/snap" + std::to_string(a.choice % 6);
    const Expected expected = model.updateSnapshotHandle(a.choice % kSessions, a.node, snapshot);
    if (framework != nullptr) {
        zfi_snapreplica_ele element{framework->node(a.node).objid, objid(snapshot), nullptr, 0, 0};
        RC_ASSERT(framework->call().update_snapshot_handle(framework->text(sessionNumber(a.choice)), &element) ==
                  expected.status);
    }
}

void make(Model& model, const Arguments& a, Framework* framework) {
    const Nodes nodes(a);
    const Expected expected = model.make(a.choice % kSessions, nodes.list);
    if (framework == nullptr) {
        return;
    }
    char* id = framework->text(sessionNumber(a.choice));
    const Handed to(*framework, nodes, id);
    znfi_objid* untouched = objid("untouched");
    znfi_objid** ids = &untouched;
    int count = -77;
    RC_ASSERT(framework->call().make(to.single, id, to.list, to.count, &ids, &count) == ZFI_OK);
    RC_ASSERT(count == static_cast<int>(nodes.list.size()));
    if (nodes.list.empty()) {
        RC_ASSERT((ids == &untouched));  // there is nothing to hand out, and nothing to free
        return;
    }
    RC_ASSERT((ids == nullptr) == expected.names.empty());
    std::vector<std::string> names;
    for (int i = 0; ids != nullptr && i < count; ++i) {
        names.emplace_back(ids[i]->name);
    }
    znfi_free_buf(ids, static_cast<size_t>(count) * sizeof(znfi_objid*));
    RC_ASSERT(names == expected.names);
}

void initAgain(Model& model, const Arguments& a, Framework* framework) {
    model.startAnew();
    if (framework != nullptr) {
        zfi_version version{};
        RC_ASSERT(framework->call().init(&framework->receiver().init, nullptr, "roads") == ZFI_ERR_NO_VERSION_RECORD);
        RC_ASSERT(framework->call().init(a.choice % 2 == 0 ? nullptr : &framework->receiver().init, &version,
                                         "roads") == ZFI_OK);
        RC_ASSERT(version.major == 7);
    }
}

void endAndStart(Model& model, const Arguments& a, Framework* framework) {
    for (int node = 0; node < kNodes; ++node) {
        model.deInitNode(node);
    }
    model.startAnew();
    if (framework == nullptr) {
        return;
    }
    for (int node = 0; node < kNodes; ++node) {
        framework->call().deinit_node(&framework->node(node));
    }
    framework->call().fini();
    if (a.choice % 2 == 0) {
        framework->call().fini();
    }
    zfi_version version{};
    RC_ASSERT(framework->call().init(&framework->receiver().init, &version, nullptr) == ZFI_OK);
}

}  // namespace

const std::vector<Call>& sessionCalls() {
    static const std::vector<Call> calls = {
        {"select", select, nullptr, 3}, {"prepare", prepare, nullptr, 1},
        {"refused lists", refused},     {"update_snapshot_handle", updateHandle, nullptr, 3},
        {"make", make, nullptr, 3},     {"init again", initAgain},
        {"fini, init", endAndStart},
    };
    return calls;
}

}  // namespace roads
