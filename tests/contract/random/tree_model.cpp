// The model's calls that mount and unmount, and its sessions.
#include <sys/stat.h>

#include "road_model.h"

namespace roads {
namespace {

bool isNdmp(const std::string& name) {
    return name.rfind("NDMP:", 0) == 0;
}

}  // namespace

std::string Model::freeName(const std::string& base) const {
    std::string name = base;
    for (int counter = 0; host.at(name) != nullptr; ++counter) {
        name = base + std::to_string(counter);
    }
    return name;
}

Expected Model::buildAltTree(int node, const std::string& device) {
    Data* recorded = dataOf(node);
    if (recorded == nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    const NodeModel& one = nodes[static_cast<size_t>(node)];
    if (isRequested(node) && host.at(one.requestedName) != nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    if (!isRequested(node) && !host.isReadable) {
        return {ZFI_ERR_MOUNT_TABLE};
    }
    if (!host.runs("mkdir") || !host.runs("mount")) {
        return {ZFI_ERR_FAILED};
    }
    (void)device;
    recorded->state.altName = isRequested(node) ? one.requestedName : freeName(one.name + "_alt");
    return {.name = recorded->state.altName};
}

Expected Model::importTree(int node, const std::string& device) {
    Data* recorded = dataOf(node);
    if (recorded == nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    if (isNdmp(device)) {
        recorded->state.altName = device;
        return {.name = device};
    }
    if (!host.isReadable) {
        return {ZFI_ERR_MOUNT_TABLE};
    }
    const MountEntry* inPlace = host.at(recorded->state.altName);
    if (inPlace != nullptr && inPlace->device == device) {
        return {.name = recorded->state.altName};
    }
    const NodeModel& one = nodes[static_cast<size_t>(node)];
    if (isRequested(node) && host.at(one.requestedName) != nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    if (!host.runs("mkdir") || !host.runs("mount")) {
        return {ZFI_ERR_FAILED};
    }
    recorded->state.altName = isRequested(node) ? one.requestedName : freeName(one.name + "_alt");
    return {.name = recorded->state.altName};
}

Expected Model::deportTree(int altNode) const {
    if (!host.isReadable) {
        return {ZFI_ERR_MOUNT_TABLE};
    }
    const bool isMounted = host.at(nodes[static_cast<size_t>(altNode)].name) != nullptr;
    return {isMounted && (!host.runs("umount") || !host.runs("rmdir")) ? ZFI_ERR_FAILED : ZFI_OK};
}

Expected Model::online(int node, int operation, int disposition) {
    const bool isMounted = host.at(nodes[static_cast<size_t>(node)].name) != nullptr;
    if (!host.isReadable) {
        return {ZFI_ERR_MOUNT_TABLE};
    }
    if (operation == ZFI_ONLINE_UMOUNT && isMounted) {
        return {!host.runs("umount")                                           ? ZFI_ERR_UMOUNT_FAILED
                : disposition == ZFI_DISPOSITION_REMOVE && !host.runs("rmdir") ? ZFI_ERR_RMDIR_FAILED
                                                                               : ZFI_OK};
    }
    if (operation != ZFI_ONLINE_MOUNT || isMounted) {
        return {};
    }
    const Data* recorded = dataOf(node);
    if (recorded == nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    if (recorded->subObjects.empty()) {
        return {ZFI_ERR_NO_SUBOBJECT};
    }
    if (host.of(recorded->subObjects.front()) != nullptr) {
        return {ZFI_ERR_BUSY};
    }
    return {!host.runs("mkdir") ? ZFI_ERR_FAILED : host.runs("mount") ? ZFI_OK : ZFI_ERR_MOUNT_FAILED};
}

Expected Model::disableAccess(const std::vector<int>& list, bool isForced) {
    if (list.empty()) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    for (const int index : list) {
        NodeModel& node = nodes[static_cast<size_t>(index)];
        if (isNdmp(node.name)) {
            return {};
        }
        if (node.isOffline) {
            continue;
        }
        if (!host.isReadable) {
            return {ZFI_ERR_MOUNT_TABLE};
        }
        if (host.at(node.name) != nullptr && !host.runs("umount")) {
            const bool isBusy = host.commands == CommandsDo::kSayBusy;
            return {!isBusy ? ZFI_ERR_UMOUNT_FAILED : isForced ? ZFI_ERR_FAILED : ZFI_ERR_BUSY};
        }
        node.isOffline = true;
    }
    return {};
}

Expected Model::enableAccess(const std::vector<int>& list, const std::string& device) {
    if (list.empty()) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    for (const int index : list) {
        NodeModel& node = nodes[static_cast<size_t>(index)];
        if (!node.isOffline) {
            continue;
        }
        if (device.empty()) {
            return {ZFI_ERR_FAILED};
        }
        if (isNdmp(device)) {
            return {};
        }
        if (!host.isReadable) {
            return {ZFI_ERR_MOUNT_TABLE};
        }
        if (const MountEntry* mounted = host.of(device)) {
            return {mounted->mountPoint == node.name ? ZFI_OK : ZFI_ERR_BUSY};
        }
        if (!host.runs("mkdir") || !host.runs("mount")) {
            return {ZFI_ERR_MOUNT_FAILED};
        }
        if (dataOf(index) == nullptr) {
            initNode(index);
        }
        node.isOffline = false;
    }
    return {};
}

Expected Model::onlineResource(const std::string& device, const std::string& mountPoint) const {
    if (!host.isReadable) {
        return {ZFI_ERR_MOUNT_TABLE};
    }
    const std::string wanted = !mountPoint.empty() ? mountPoint : device.substr(device.rfind('/'));
    if (const MountEntry* mounted = host.of(device)) {
        return {mounted->mountPoint == wanted ? ZFI_OK : ZFI_ERR_MOUNTED_ELSEWHERE, wanted};
    }
    struct stat info = {};
    if (stat(wanted.c_str(), &info) != 0 && !host.runs("mkdir")) {
        return {ZFI_ERR_FAILED};
    }
    // A mount that fails although something is mounted there counts as one that took effect.
    return {host.runs("mount") || host.at(wanted) != nullptr ? ZFI_OK : ZFI_ERR_FAILED, wanted};
}

Expected Model::updateSnapshotHandle(int session, int node, const std::string& snapshot) {
    const auto entry = sessions[session].find(nodes[static_cast<size_t>(node)].name);
    if (entry == sessions[session].end()) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    entry->second = snapshot;
    return {};
}

void Model::addNodes(int session, const std::vector<int>& list) {
    for (const int node : list) {
        sessions[session].try_emplace(nodes[static_cast<size_t>(node)].name);
    }
}

// An empty list of names: no array could be made, because a node has no snapshot yet.
Expected Model::make(int session, const std::vector<int>& list) {
    Expected expected;
    bool isComplete = true;
    for (const int node : list) {
        nodes[static_cast<size_t>(node)].isMade = true;
        const std::string& snapshot = sessions[session][nodes[static_cast<size_t>(node)].name];
        isComplete = isComplete && !snapshot.empty();
        expected.names.push_back(snapshot);
    }
    if (!isComplete) {
        expected.names.clear();
    }
    return expected;
}

}  // namespace roads
