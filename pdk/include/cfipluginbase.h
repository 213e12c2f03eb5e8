// Base class of every plug-in object: the framework's answer to each operation that a provider does not implement.
//
// No default pretends. select, prepare and make in per-node form answer 4 (use the session form); their session forms,
// is_ready, config, interpose, pre_prepare, verify_qscombos and the notifications succeed; enumerations succeed with an
// empty list; operations that would claim to have done work answer 2. Only subobjList, deInitNode, errMsg, the
// last-error and locale-message calls, objctl and updateSnapshotHandle do something of their own; see the sources.
//
// A framework calls one plug-in object from one thread at a time.
#pragma once

#include <string>

#include "cficonfig.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiobjctlargs.h"
#include "cfiprivatedatafactory.h"
#include "cfisession.h"
#include "cfismartptr.h"
#include "cfistring.h"
#include "cfitraceable.h"
#include "znfi.h"

class ZNFI_API CFiPluginBase : public virtual CFiRefCount, public virtual CFiTraceable {
  public:
    CFiPluginBase();
    ~CFiPluginBase() override;

    // The operations, in slot order.
    virtual int delayedInit();
    // index: 0 or 1, not checked.
    virtual CFiConfigParamInfoList* globalConfigInfoList(int index, bool second);
    virtual int init();
    virtual void fini();
    virtual int claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount);
    virtual int supportsFiType(zfi_domain* domain, char* type);
    virtual int deportTree(zfi_domain* node, zfi_domain* altNode, zfi_accessnode* access);
    virtual int importTreeNode(zfi_domain* domain, znfi_objid** treeNodeIds, znfi_objid** altTreeNodeIds, int count,
                               znfi_objid** altObject);
    virtual int initNode(zfi_domain* node, zfi_domain** parent, int flags, znfi_objid* parentObject);
    virtual int config(zfi_domain* node, int index, char* text, zfi_confspec* spec);
    virtual int initAltNode(zfi_domain* node, zfi_domain* parent, zfi_domain* target, bool remote);
    virtual int reAccessTmpObj(zfi_domain* node, znfi_objid* object, char* name, zfi_domain* target, char* fid,
                               zfi_intent intent);
    virtual int reAccessAltNode(zfi_domain* node, znfi_objid* altNodeObject, znfi_objid* object, char* fid,
                                znfi_objid** objects, znfi_objid** altObjects, int count, zfi_intent intent);
    // Gives the node's private data back to the factory and releases its quiesce record; twice is harmless.
    virtual void deInitNode(zfi_domain* node);
    virtual int dispose(zfi_domain* parent, zfi_domain* node, zfi_splitnode* splitNode, zfi_disposition disposition);
    virtual int online(zfi_domain* parent, zfi_domain* node, int operation, zfi_disposition disposition);
    // The sub-objects of the node's private data, in a buffer that the caller frees with znfi_free_buf(objects, count *
    // sizeof *objects); null and 0 when there are none; 3 when the node has no private data.
    virtual int subobjList(zfi_domain* node, znfi_objid*** objects, int* count);
    // The text of a status in the caller's language; static storage.
    virtual int errMsg(int code, const char** text);
    virtual int buildAltTree(zfi_domain* domain, char* fid, znfi_objid** sourceObjects, znfi_objid** snapshotObjects,
                             int count, znfi_objid** altObject);
    virtual int quiesce(zfi_quiescenode** nodes, int count, char* options);
    virtual int unquiesce(zfi_quiescenode** nodes, int count);
    virtual int make(char* sessionId, zfi_splitnode** nodes, int count, znfi_objid*** ids, int* idCount);
    virtual int makeSnapshots(const CFiSmartPtr<CFiSession>& session);
    virtual int prepare(char* sessionId, zfi_splitnode** nodes, int count, int flag);
    virtual int prepareSnapshots(const CFiSmartPtr<CFiSession>& session);
    virtual int select(char* sessionId, zfi_splitnode** nodes, int count);
    virtual int selectSnapshots(const CFiSmartPtr<CFiSession>& session);
    virtual int isReady(char* sessionId, zfi_splitnode** nodes, int count);
    virtual int cacheDisable(zfi_domain* node, int flags);
    virtual int cacheEnable(zfi_domain* node, int flags);
    virtual int cacheFlush(zfi_domain* node, int flags);
    virtual int interpose(zfi_domain* node, znfi_objid** object, znfi_objid*** objects, int* count);
    virtual int getAttr(zfi_domain* node, zfi_domain* altNode, zfi_splitnode* splitNode, zfi_attributes* attributes);
    virtual int getProviderInfo(zfi_provider_list** list);
    virtual int enumerateNodes(zfi_node_list** list, int* count, int flags, char* name);
    virtual int enumerateAssociations(zfi_assoc_list** list);
    virtual int enumerateGroupNodes(zfi_group_node_list** list);
    virtual int enumerateFims(zfi_fim_list** list);
    virtual int isValidNodeAssociation(zfi_assoc* association, int* valid);
    virtual int getAssociatedNodes(zfi_node* node, zfi_node_list** list);
    virtual int checkNodeExistence(zfi_domain* node, int* exists);
    // Knows "trace_level": sets the process's trace threshold to the value of the first argument when there is one (0
    // to 7; 3 and no change otherwise) and puts out the threshold as argument "level" of type "int".
    virtual int objctl(const zfi_tstring& command, CFiObjctlArgs& arguments);
    virtual int processProviderState(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation);
    // The messages of the error manager, newest first; they stay there. Each call makes a chain of its own.
    virtual int getLastError(zfi_msg_info** list);
    // Frees that chain, sets *list to null and drops what the error manager holds.
    virtual int delLastError(zfi_msg_info** list);
    // The text of such a record in another locale (null, "" or an unknown one: the default), in a buffer that
    // delLocaleMessage frees. length: its bytes with the terminator.
    virtual int getLocaleMessage(int* length, zfi_msg_info* message, const char* locale, char** text);
    virtual int delLocaleMessage(char** text);
    virtual int enableAccess(zfi_node_subobj_list* list, long flags, int reserved, int options);
    virtual int disableAccess(zfi_node_subobj_list* list, long flags);
    virtual int restore(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char* options,
                        char*** targets, long* targetCount, long flags, long* status);
    virtual int resync(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char* options, long flags,
                       long* status);
    virtual int getStatus(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, long flags,
                          long* status);
    virtual int prePrepare(zfi_domain* node);
    virtual int queryValidSecondaries(char* name, znfi_objid*** objects, long* count);
    virtual int resourceStatus(znfi_objid* object, long flags, long* status, zfi_msg_info** messages);
    virtual int revisitPluginNodes(zfi_pgn_node_list* list);
    virtual int verifyQSCombos(zfi_splitnode** nodes, int count);
    virtual int setImportOptions(zfi_splitnode** nodes, int count, zfi_host_infn* hosts, int flags, void* options);
    virtual int startBuildAltTree(zfi_domain* node, znfi_objid** objects, void* options);
    virtual int translateResourceNames(char** names, int count, char** translated);
    virtual int enumerateEnclosures(zfi_enclosure_node_list** list, int* count, char* name);
    virtual int importResource(char** devices, char* name, char* type, char* options, int flags, char** targets,
                               char* extra);
    virtual int format(char** devices, int deviceCount, char* reserved, char* type, char* options, int flags,
                       char*** outNames, int* outCount);
    virtual int enumerateHostNodes(zfi_host_node_list** list, int* count, char* name);
    virtual int onlineResource(char** devicePaths, int deviceCount, char* mountPoint, char* resourceName, char* options,
                               char* extra, int flags, char*** targetDevicePath, int* targetCount);
    virtual int deportResource(char* device, char* mountPoint, char* type, char* options, int flags);
    virtual int isParentPgn(char* name, int* result, int reserved);
    virtual int unformat(char** devices, int deviceCount, int flags);
    virtual int preDeportResource(char* name, int flags, char* options);
    virtual int refreshTree(zfi_domain* node, int operation, int flags, zfi_resource* resources, int count, int* result,
                            void* options, int extra);
    virtual int getBackupset(zfi_domain* node, int kind, char** paths, int count, zfi_bkupset* set);
    virtual int getAppStatus(zfi_domain* node, int kind, void* status);
    virtual int setOpStatus(zfi_domain* node, int status);
    virtual int setCompStatus(zfi_domain* node, int kind, char* component, int status);
    virtual int setRestorepaths(zfi_domain* node, char* path, int flags);
    virtual int createSnapReplicaNode(zfi_domain* node, zfi_snapreplica_ele* element);
    virtual int updateSnapshotId(zfi_domain* node, zfi_domain* altNode, zfi_snapreplica_ele* element, int flags);
    virtual int getSnapshotSetId(zfi_domain* node, char** id);
    virtual int preselect(char* sessionId, zfi_splitnode** nodes, int count);
    // Stores the snapshot object's name in the session's entry of the node; 3 when the session has none.
    virtual int updateSnapshotHandle(const CFiSmartPtr<CFiSession>& session, zfi_snapreplica_ele* element);
    virtual int getSnapdiff(zfi_domain* node, zfi_snapreplica_ele* from, zfi_snapreplica_ele* to, TrieNode_* result);
    virtual int postDeport(zfi_domain* node, zfi_domain* altNode);

    // Set by the init entry point.
    void setProviderName(const zfi_tstring& name) { providerName_ = name; }
    void setFimName(const std::string& name) { fimName_ = name; }
    void setMessageIndexOffset(int32_t offset) { messageIndexOffset_ = offset; }
    void registerErrorManager(const CFiSmartPtr<CFiErrorManager>& manager) { errorManager_ = manager; }
    void registerCatalogManager(const CFiSmartPtr<CFiMessageCatalogManager>& manager) { catalogManager_ = manager; }
    void registerPrivateDataManager(const CFiSmartPtr<CFiPrivateDataManager>& manager) {
        privateDataManager_ = manager;
    }
    void registerSessionManager(const CFiSmartPtr<CFiSessionManager>& manager) { sessionManager_ = manager; }

    // Null before init registered them.
    const CFiSmartPtr<CFiErrorManager>& errorManager() const { return errorManager_; }
    const CFiSmartPtr<CFiMessageCatalogManager>& catalogManager() const { return catalogManager_; }
    const CFiSmartPtr<CFiPrivateDataManager>& privateDataManager() const { return privateDataManager_; }
    const CFiSmartPtr<CFiSessionManager>& sessionManager() const { return sessionManager_; }
    const zfi_tstring& providerName() const { return providerName_; }
    const std::string& fimName() const { return fimName_; }
    int32_t messageIndexOffset() const { return messageIndexOffset_; }

    // Marks the process as shutting down. Recorded for providers to read; the runtime itself does not consult it.
    static void isShuttingDown(bool shuttingDown);
    static bool isShuttingDown();

  private:
    zfi_tstring providerName_;
    CFiSmartPtr<CFiErrorManager> errorManager_;
    CFiSmartPtr<CFiMessageCatalogManager> catalogManager_;
    CFiSmartPtr<CFiPrivateDataManager> privateDataManager_;
    CFiSmartPtr<CFiSessionManager> sessionManager_;
    CFiConfigParamInfoList firstConfigInfo_[2];
    CFiConfigParamInfoList secondConfigInfo_[2];
    std::string fimName_;
    int32_t messageIndexOffset_ = 6000;

  public:
    // Read and set by the entry-point frame only: a plain byte, without a lock.
    bool delayedInitDone = false;
};
