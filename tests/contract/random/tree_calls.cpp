#include <rapidcheck.h>

#include <cstdlib>
#include <cstring>

#include "bed/layout.h"
#include "road_calls.h"

namespace roads {
namespace {

const std::string& deviceNumber(int number) {
    static const std::string devices[] = {"/dev/snap0", "/dev/sdb1", "/dev/sdz", "NDMP:/vol/y", "/dev/new"};
    return devices[number % 5];
}

// One, two or three nodes, sometimes none.
std::vector<int> listOf(const Arguments& a) {
    switch (a.choice % 4) {
        case 0:
            return {a.node};
        case 1:
            return {a.node, a.other};
        case 2:
            return {a.other, a.node, (a.node + 1) % kNodes};
        default:
            return {};
    }
}

void changeHost(Model& model, const Arguments& a, Framework* framework) {
    // Every second host is one on which the commands work.
    const int number = a.choice % kHosts;
    model.host = hostNumber(a.other % 2 == 0 ? number % 4 + number / 32 * 32 : number);
    if (framework != nullptr) {
        framework->shape(model.host);
    }
}

void buildAltTree(Model& model, const Arguments& a, Framework* framework) {
    const std::string& device = deviceNumber(a.choice);
    const Expected expected = model.buildAltTree(a.node, device);
    if (framework == nullptr) {
        return;
    }
    znfi_objid* snapshot = objid(device);
    znfi_objid* alternate = nullptr;
    RC_ASSERT(framework->call().build_alttree(&framework->node(a.node), framework->text("fid"), nullptr, &snapshot, 1,
                                              &alternate) == expected.status);
    RC_ASSERT(expected.name == (alternate == nullptr ? "" : alternate->name));
}

void importTree(Model& model, const Arguments& a, Framework* framework) {
    const std::string& device = deviceNumber(a.choice);
    const Expected expected = model.importTree(a.node, device);
    if (framework == nullptr) {
        return;
    }
    znfi_objid* snapshot = objid(device);
    znfi_objid* alternate = nullptr;
    RC_ASSERT(framework->call().import_tree(&framework->node(a.node), nullptr, &snapshot, 1, &alternate) ==
              expected.status);
    RC_ASSERT(expected.name == (alternate == nullptr ? "" : alternate->name));
}

void treesWithoutArguments(Model&, const Arguments& a, Framework* framework) {
    if (framework != nullptr) {
        zfi_domain& node = framework->node(a.node);
        znfi_objid* device = objid("/dev/snap0");
        znfi_objid* alternate = nullptr;
        const bed::EntryPoints& call = framework->call();
        RC_ASSERT(call.build_alttree(&node, nullptr, nullptr, &device, 1, &alternate) == ZFI_ERR_INVALID_ARGUMENT);
        RC_ASSERT(call.build_alttree(&node, framework->text("fid"), nullptr, &device, 1, nullptr) ==
                  ZFI_ERR_INVALID_ARGUMENT);
        RC_ASSERT(call.import_tree(&node, nullptr, nullptr, 0, &alternate) == ZFI_ERR_INVALID_ARGUMENT);
        RC_ASSERT(call.import_tree(&node, nullptr, &device, 1, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
        RC_ASSERT(call.deport_tree(&node, &node, nullptr) == ZFI_ERR_INVALID_ARGUMENT);
        RC_ASSERT((alternate == nullptr));
    }
}

void deportTree(Model& model, const Arguments& a, Framework* framework) {
    zfi_accessnode access{nullptr, a.choice % 4 != 0, 0};
    const bool hasAlternate = a.choice % 8 != 1;
    const int expected = access.imported == 0 || !hasAlternate ? ZFI_OK : model.deportTree(a.other).status;
    if (framework != nullptr) {
        RC_ASSERT(framework->call().deport_tree(&framework->node(a.node),
                                                hasAlternate ? &framework->node(a.other) : nullptr,
                                                &access) == expected);
    }
}

void online(Model& model, const Arguments& a, Framework* framework) {
    const int operation = a.choice % 4;
    const auto disposition = static_cast<zfi_disposition>(a.choice / 4 % 3);
    const Expected expected = model.online(a.node, operation, disposition);
    if (framework != nullptr) {
        RC_ASSERT(framework->call().online(nullptr, &framework->node(a.node), operation, disposition) ==
                  expected.status);
    }
}

void dispose(Model& model, const Arguments& a, Framework* framework) {
    const auto disposition = static_cast<zfi_disposition>(a.choice % 3);
    const Expected expected = disposition == ZFI_DISPOSITION_REMOVE
                                  ? model.online(a.node, ZFI_ONLINE_UMOUNT, ZFI_DISPOSITION_REMOVE)
                                  : Expected();
    if (framework != nullptr) {
        RC_ASSERT(framework->call().dispose(nullptr, &framework->node(a.node), nullptr, disposition) ==
                  expected.status);
    }
}

void disableAccess(Model& model, const Arguments& a, Framework* framework) {
    const std::vector<int> list = listOf(a);
    const bool isForced = a.choice / 4 % 2 == 1;
    const Expected expected = model.disableAccess(list, isForced);
    if (framework != nullptr) {
        RC_ASSERT(framework->call().disable_access(framework->accessList(list, "/dev/sdb1"), isForced ? 0x10 : 0) ==
                  expected.status);
    }
}

// A node without data that is enabled is initialised, and its record, if it had one, would be lost: it has none.
void enableAccess(Model& model, const Arguments& a, Framework* framework) {
    const std::vector<int> list = listOf(a);
    const std::string device = a.choice / 4 % 6 == 5 ? "" : deviceNumber(a.choice / 4);
    const int options = a.choice == 63 ? 1 : 0;
    const Expected expected = options == 1 ? Expected() : model.enableAccess(list, device);
    if (framework != nullptr) {
        RC_ASSERT(framework->call().enable_access(framework->accessList(list, device), 0, 0, options) ==
                  expected.status);
    }
}

void format(Model& model, const Arguments& a, Framework* framework) {
    static const char* const types[] = {"ext2", "ext3", "jfs", "reiserfs", "xfs", "ext4", "nfs", ""};
    const char* type = types[a.choice % 8];
    const bool isCarriedOut = a.choice / 8 % 2 == 1;
    const bool isDone = a.choice % 8 < 5 && (!isCarriedOut || model.host.runs("mkfs"));
    if (framework != nullptr) {
        char* devices[] = {framework->text("/dev/sdq"), nullptr};
        char* options = framework->text(
            a.choice % 3 == 0 ? R"(<FORMAT_OPTIONS><OPTION name="mkfsOptions">-q</OPTION></FORMAT_OPTIONS>)" : "none");
        RC_ASSERT(framework->call().format(devices, 1, nullptr, framework->text(type),
                                           a.choice % 5 == 0 ? nullptr : options, isCarriedOut ? 1 : 0, nullptr,
                                           nullptr) == (isDone ? ZFI_OK : ZFI_ERR_INVALID_ARGUMENT));
    }
}

void onlineResource(Model& model, const Arguments& a, Framework* framework) {
    const std::string& device = a.choice % 5 == 3 ? deviceNumber(0) : deviceNumber(a.choice);
    const std::string mountPoint = a.choice % 3 == 0 ? "" : model.nodes[static_cast<size_t>(a.node % 6)].name;
    const Expected expected = model.onlineResource(device, mountPoint);
    if (framework == nullptr) {
        return;
    }
    char* devices[] = {framework->text(device), nullptr};
    char** paths = devices;
    int count = -77;
    const int status =
        framework->call().online_resource(devices, 1, mountPoint.empty() ? nullptr : framework->text(mountPoint),
                                          nullptr, nullptr, nullptr, 0, &paths, &count);
    RC_ASSERT(status == expected.status);
    if (status != ZFI_OK) {
        RC_ASSERT((paths == devices));
        return;
    }
    const std::string path(paths[0]);
    znfi_free_buf(paths[0], path.size() + 1);
    std::free(paths);
    RC_ASSERT(count == 1);
    RC_ASSERT(path == expected.name);
}

// A device that is there, one that never comes, and a name that is no device's.
void isParent(Model& model, const Arguments& a, Framework* framework) {
    static const char* const names[] = {BED_DEVICES "/sdb1", BED_DEVICES "/none", "/data"};
    const int expected = a.choice % 3 != 0 ? -77 : model.host.runs("mount") ? 2 : 0;
    if (framework != nullptr) {
        int result = -77;
        RC_ASSERT(framework->call().is_parent_pgn(framework->text(names[a.choice % 3]), &result, 0) == ZFI_OK);
        RC_ASSERT(result == expected);
    }
}

}  // namespace

const std::vector<Call>& treeCalls() {
    static const std::vector<Call> calls = {
        {"the host changes", changeHost, nullptr, 3},
        {"build_alttree", buildAltTree, nullptr, 2},
        {"import_tree", importTree, nullptr, 2},
        {"trees without arguments", treesWithoutArguments},
        {"deport_tree", deportTree},
        {"online", online, nullptr, 2},
        {"dispose", dispose},
        {"disable_access", disableAccess, nullptr, 2},
        {"enable_access", enableAccess, nullptr, 2},
        {"format", format},
        {"online_resource", onlineResource},
        {"is_parent_pgn", isParent},
    };
    return calls;
}

}  // namespace roads
