// The operations on nodes that the base carries out itself, from the private data and the session.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "cfipluginbase.h"

namespace {

CFiSmartPtr<CFiPrivateDataFactory> factoryOf(const CFiSmartPtr<CFiPrivateDataManager>& manager) {
    return manager ? manager->getFactory() : CFiSmartPtr<CFiPrivateDataFactory>();
}

void releaseQuiesceRecord(zfi_domain& node) {
    if (node.quiesce != nullptr) {
        const std::unique_ptr<char, decltype(&std::free)> method(node.quiesce->method, &std::free);
        znfi_free_buf(node.quiesce, sizeof *node.quiesce);
    }
    node.quiesce = nullptr;
    node.quiesceNext = nullptr;
}

bool isWhole(const zfi_snapreplica_ele* element) {
    return element != nullptr && element->node != nullptr && element->node->name != nullptr &&
           element->snapshot != nullptr && element->snapshot->name != nullptr;
}

}  // namespace

void CFiPluginBase::deInitNode(zfi_domain* node) {
    if (node == nullptr) {
        return;
    }
    if (const auto factory = factoryOf(privateDataManager_)) {
        factory->deallocate(node);
    }
    releaseQuiesceRecord(*node);
}

int CFiPluginBase::subobjList(zfi_domain* node, znfi_objid*** objects, int* count) {
    if (node == nullptr || objects == nullptr || count == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    *objects = nullptr;
    *count = 0;
    const auto factory = factoryOf(privateDataManager_);
    const auto data = factory ? factory->access(node) : CFiSmartPtr<CFiPrivateData>();
    if (!data) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const std::vector<znfi_objid*>& list = data->getSubObjectList();
    if (list.empty()) {
        return ZFI_OK;
    }
    auto** array = static_cast<znfi_objid**>(znfi_alloc_buf(list.size() * sizeof(znfi_objid*)));
    if (array == nullptr) {
        return ZFI_ERR_NO_MEMORY;
    }
    std::copy(list.begin(), list.end(), array);
    *objects = array;
    *count = static_cast<int>(list.size());
    return ZFI_OK;
}

// The layer that made the snapshot tells its name; make turns it into an object id.
int CFiPluginBase::updateSnapshotHandle(const CFiSmartPtr<CFiSession>& session, zfi_snapreplica_ele* element) {
    if (!session || !isWhole(element)) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const auto entry = session->nodes().find(element->node->name);
    if (entry == session->nodes().end()) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    entry->second.snapshotName = element->snapshot->name;
    return ZFI_OK;
}
