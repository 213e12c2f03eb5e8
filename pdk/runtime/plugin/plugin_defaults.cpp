// The answers of operations that a provider does not implement. Three kinds: notifications and questions whose honest
// answer is "nothing" or "no" succeed; per-node forms of the snapshot operations send the framework to the session
// form; whatever would claim to have done, prepared or known something answers that it is not supported.
#include "cfipluginbase.h"

namespace {

// Lists that go back to the caller never hold what stood there before.
template <typename... Out>
void clear(Out*... out) {
    const auto clearOne = [](auto* one) {
        if (one != nullptr) {
            *one = {};
        }
    };
    (clearOne(out), ...);
}

template <typename... Out>
int unsupported(Out*... out) {
    clear(out...);
    return ZFI_ERR_NOT_SUPPORTED;
}

// Nothing to list: every out pointer is required.
template <typename... Out>
int empty(Out*... out) {
    const bool isComplete = ((out != nullptr) && ...);
    if (!isComplete) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    clear(out...);
    return ZFI_OK;
}

}  // namespace

// ---- Claim and initialisation of nodes ----

int CFiPluginBase::claim(znfi_objid*, znfi_objid*** subObjects, int* subObjectCount) {
    clear(subObjects, subObjectCount);
    return ZFI_OK;
}

int CFiPluginBase::supportsFiType(zfi_domain* domain, char*) {
    if (domain != nullptr) {
        clear(domain->fiTypeResult);
    }
    return 0;
}

int CFiPluginBase::initNode(zfi_domain*, zfi_domain**, int, znfi_objid*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::initAltNode(zfi_domain*, zfi_domain*, zfi_domain*, bool) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::config(zfi_domain*, int, char*, zfi_confspec*) {
    return ZFI_OK;
}

int CFiPluginBase::checkNodeExistence(zfi_domain*, int*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::processProviderState(zfi_domain*, zfi_blob*, zfi_op_providerstate) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::getAttr(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_attributes*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::interpose(zfi_domain*, znfi_objid**, znfi_objid*** objects, int* count) {
    clear(objects, count);
    return ZFI_OK;
}

// ---- Making a snapshot ----

int CFiPluginBase::preselect(char*, zfi_splitnode**, int) {
    return ZFI_OK;
}

int CFiPluginBase::select(char*, zfi_splitnode**, int) {
    return ZFI_USE_SESSION;
}

int CFiPluginBase::selectSnapshots(const CFiSmartPtr<CFiSession>&) {
    return ZFI_OK;
}

int CFiPluginBase::prepare(char*, zfi_splitnode**, int, int) {
    return ZFI_USE_SESSION;
}

int CFiPluginBase::prepareSnapshots(const CFiSmartPtr<CFiSession>&) {
    return ZFI_OK;
}

// Nothing is written: the session form may still fail.
int CFiPluginBase::make(char*, zfi_splitnode**, int, znfi_objid***, int*) {
    return ZFI_USE_SESSION;
}

int CFiPluginBase::makeSnapshots(const CFiSmartPtr<CFiSession>&) {
    return ZFI_OK;
}

int CFiPluginBase::isReady(char*, zfi_splitnode**, int) {
    return ZFI_OK;
}

int CFiPluginBase::prePrepare(zfi_domain*) {
    return ZFI_OK;
}

int CFiPluginBase::verifyQSCombos(zfi_splitnode**, int) {
    return ZFI_OK;
}

int CFiPluginBase::quiesce(zfi_quiescenode**, int, char*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::unquiesce(zfi_quiescenode**, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::cacheDisable(zfi_domain*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::cacheEnable(zfi_domain*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::cacheFlush(zfi_domain*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::enableAccess(zfi_node_subobj_list*, long, int, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::disableAccess(zfi_node_subobj_list*, long) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::createSnapReplicaNode(zfi_domain*, zfi_snapreplica_ele*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::updateSnapshotId(zfi_domain*, zfi_domain*, zfi_snapreplica_ele*, int) {
    return ZFI_OK;
}

int CFiPluginBase::getSnapshotSetId(zfi_domain*, char** id) {
    return unsupported(id);
}

int CFiPluginBase::getSnapdiff(zfi_domain*, zfi_snapreplica_ele*, zfi_snapreplica_ele*, TrieNode_*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

// ---- The snapshot's own tree ----

int CFiPluginBase::startBuildAltTree(zfi_domain*, znfi_objid**, void*) {
    return ZFI_OK;
}

int CFiPluginBase::buildAltTree(zfi_domain*, char*, znfi_objid**, znfi_objid**, int, znfi_objid** altObject) {
    return unsupported(altObject);
}

int CFiPluginBase::setImportOptions(zfi_splitnode**, int, zfi_host_infn*, int, void*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::importTreeNode(zfi_domain*, znfi_objid**, znfi_objid**, int, znfi_objid** altObject) {
    return unsupported(altObject);
}

int CFiPluginBase::deportTree(zfi_domain*, zfi_domain*, zfi_accessnode*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::postDeport(zfi_domain*, zfi_domain*) {
    return ZFI_OK;
}

int CFiPluginBase::reAccessTmpObj(zfi_domain*, znfi_objid*, char*, zfi_domain*, char*, zfi_intent) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::reAccessAltNode(zfi_domain*, znfi_objid*, znfi_objid*, char*, znfi_objid**, znfi_objid**, int,
                                   zfi_intent) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::dispose(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::online(zfi_domain*, zfi_domain*, int, zfi_disposition) {
    return ZFI_ERR_NOT_SUPPORTED;
}

// ---- What the provider knows ----

int CFiPluginBase::getProviderInfo(zfi_provider_list** list) {
    return unsupported(list);
}

int CFiPluginBase::enumerateNodes(zfi_node_list** list, int* count, int, char*) {
    return empty(list, count);
}

int CFiPluginBase::enumerateAssociations(zfi_assoc_list** list) {
    return empty(list);
}

int CFiPluginBase::enumerateGroupNodes(zfi_group_node_list** list) {
    return empty(list);
}

int CFiPluginBase::enumerateFims(zfi_fim_list** list) {
    return empty(list);
}

int CFiPluginBase::enumerateHostNodes(zfi_host_node_list** list, int* count, char*) {
    return empty(list, count);
}

int CFiPluginBase::enumerateEnclosures(zfi_enclosure_node_list** list, int* count, char*) {
    return empty(list, count);
}

int CFiPluginBase::getAssociatedNodes(zfi_node*, zfi_node_list** list) {
    return empty(list);
}

// A provider without associations knows that none is valid.
int CFiPluginBase::isValidNodeAssociation(zfi_assoc*, int* valid) {
    return empty(valid);
}

int CFiPluginBase::isParentPgn(char*, int* result, int) {
    return empty(result);
}

int CFiPluginBase::queryValidSecondaries(char*, znfi_objid*** objects, long* count) {
    return unsupported(objects, count);
}

int CFiPluginBase::translateResourceNames(char**, int, char** translated) {
    return unsupported(translated);
}

int CFiPluginBase::revisitPluginNodes(zfi_pgn_node_list*) {
    return ZFI_OK;
}

int CFiPluginBase::refreshTree(zfi_domain*, int, int, zfi_resource*, int, int*, void*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

// ---- Restore, resources, applications ----

int CFiPluginBase::restore(znfi_objid**, znfi_objid**, long, char*, char*, char*** targets, long* targetCount, long,
                           long*) {
    return unsupported(targets, targetCount);
}

int CFiPluginBase::resync(znfi_objid**, znfi_objid**, long, char*, char*, long, long*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::getStatus(znfi_objid**, znfi_objid**, long, char*, long, long*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::resourceStatus(znfi_objid*, long, long*, zfi_msg_info** messages) {
    return unsupported(messages);
}

int CFiPluginBase::importResource(char**, char*, char*, char*, int, char**, char*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::format(char**, int, char*, char*, char*, int, char*** outNames, int* outCount) {
    return unsupported(outNames, outCount);
}

int CFiPluginBase::unformat(char**, int, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::onlineResource(char**, int, char*, char*, char*, char*, int, char*** targetDevicePath,
                                  int* targetCount) {
    return unsupported(targetDevicePath, targetCount);
}

int CFiPluginBase::preDeportResource(char*, int, char*) {
    return ZFI_OK;
}

int CFiPluginBase::deportResource(char*, char*, char*, char*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::getBackupset(zfi_domain*, int, char**, int, zfi_bkupset*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::getAppStatus(zfi_domain*, int, void*) {
    return ZFI_ERR_NOT_SUPPORTED;
}

int CFiPluginBase::setOpStatus(zfi_domain*, int) {
    return ZFI_OK;
}

int CFiPluginBase::setCompStatus(zfi_domain*, int, char*, int) {
    return ZFI_OK;
}

int CFiPluginBase::setRestorepaths(zfi_domain*, char*, int) {
    return ZFI_ERR_NOT_SUPPORTED;
}
