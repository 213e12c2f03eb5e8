// The embedded volume provider: snapshots of loop devices over regular files, by cloning or copying the file beside it
// and attaching the copy to a free loop device. It needs no volume manager.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cfipluginbase.h"
#include "loop_priv_data.h"

class CLOOPPlugin : public CFiPluginBase {
  public:
    int init() override;
    // 3 for a whole loop device over a regular file that still has its name.
    int claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) override;
    int supportsFiType(zfi_domain* domain, char* type) override;
    int getProviderInfo(zfi_provider_list** list) override;
    int checkNodeExistence(zfi_domain* node, int* exists) override;
    int processProviderState(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation) override;
    int initNode(zfi_domain* node, zfi_domain** parent, int flags, znfi_objid* parentObject) override;
    // target: the node of the snapshot device; it gets the record from whoever holds it.
    int initAltNode(zfi_domain* node, zfi_domain* parent, zfi_domain* target, bool remote) override;

    // The session's id is the snapshot's id; the session's entries get the snapshot devices' names. All nodes of a
    // session are made, or none.
    int selectSnapshots(const CFiSmartPtr<CFiSession>& session) override;
    int prepareSnapshots(const CFiSmartPtr<CFiSession>& session) override;
    int makeSnapshots(const CFiSmartPtr<CFiSession>& session) override;

    // Attaches the snapshot that node's restored state tells of: its own file, or the one that altTreeNodeIds[0] names,
    // which is then nobody's to delete. node->objids[1] may name a reference, of at most 63 bytes, under which
    // deportTree finds the device again, also when nobody noted it. *altObject: the device. 18: no such file. 32: it is
    // attached already, but not under this reference. The node's state tells of the attached device afterwards.
    int importTreeNode(zfi_domain* node, znfi_objid** treeNodeIds, znfi_objid** altTreeNodeIds, int count,
                       znfi_objid** altObject) override;
    // Detaches what was attached under the reference in node->objids[1]; without one, every device over the file in the
    // node's state. The file stays. 32: the device is in use. Twice is harmless.
    int deportTree(zfi_domain* node, zfi_domain* altNode, zfi_accessnode* access) override;
    // Is the file in node's state there (18 when not), and the one that was recorded (6 when not)?
    int reAccessAltNode(zfi_domain* node, znfi_objid* altNodeObject, znfi_objid* object, char* fid,
                        znfi_objid** objects, znfi_objid** altObjects, int count, zfi_intent intent) override;
    // objects: the origins' devices as they were recorded; their nodes hold the snapshots' records. name: the
    // snapshots' id, or null for whatever the nodes hold. targets: the devices that the origins have now, which keep
    // their numbers until the nodes go. All are looked at before the first is written to. 32: an origin is in use.
    int restore(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char* options, char*** targets,
                long* targetCount, long flags, long* status) override;

    // node: the origin, or the node of the snapshot device. splitNode may be null; its session then finds what no
    // record tells of. 32: the snapshot device is in use. Twice is harmless.
    int dispose(zfi_domain* parent, zfi_domain* node, zfi_splitnode* splitNode, zfi_disposition disposition) override;

  private:
    using Data = CFiSmartPtr<CFiPrivateData>;

    template <typename Body>
    int guarded(const char* method, int line, Body body);
    template <typename Body>
    int missingIs18(const char* method, int line, Body body);
    void report(const char* method, int line, const std::string& text);
    CFiPrivateDataFactory& factory() const;
    CLOOPPrivData& dataOf(const CFiSplitNode& entry) const;
    loopfi::SnapshotRecord recordOf(zfi_domain* node, const std::string& id) const;
    std::vector<Data> everyData() const;
    CLOOPPrivData& restorable(znfi_objid* object, znfi_objid* snapshot, const char* name) const;
};
