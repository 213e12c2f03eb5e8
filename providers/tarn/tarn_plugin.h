// The file-system layer of a snapshot as one plug-in object.
//
// What a method does stands in the file of its concern; what a framework may expect of it, in zfi_entry_points.h. A
// method reads like a recipe: its steps in order, the trace texts in place. The methods that a framework calls keep the
// five kinds of exceptions of guarded.h inside; the building blocks throw EFiExecPipe for a command that failed. State
// lives in the nodes' private data only.
//
// Called from one thread at a time; most methods run commands and wait for them.
#pragma once

#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "cfipluginbase.h"
#include "tarn_priv_data.h"
#include "tarn_trace.h"

class CTARNPlugin : public CFiPluginBase {
  public:
    CTARNPlugin();
    ~CTARNPlugin() override;

    // tarn_plugin.cpp
    int init() override;
    void fini() override;
    int supportsFiType(zfi_domain* domain, char* type) override;
    int getProviderInfo(zfi_provider_list** list) override;
    int processProviderState(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation) override;

    // claim.cpp
    int claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) override;
    int checkNodeExistence(zfi_domain* node, int* exists) override;
    int initNode(zfi_domain* node, zfi_domain** parent, int flags, znfi_objid* parentObject) override;
    int isParentPgn(char* name, int* result, int reserved) override;

    // freeze.cpp
    int quiesce(zfi_quiescenode** nodes, int count, char* options) override;
    int unquiesce(zfi_quiescenode** nodes, int count) override;

    // cache.cpp
    int cacheDisable(zfi_domain* node, int flags) override;
    int cacheEnable(zfi_domain* node, int flags) override;

    // access.cpp
    int enableAccess(zfi_node_subobj_list* list, long flags, int reserved, int options) override;
    int disableAccess(zfi_node_subobj_list* list, long flags) override;

    // alternate_tree.cpp
    int buildAltTree(zfi_domain* domain, char* fid, znfi_objid** sourceObjects, znfi_objid** snapshotObjects, int count,
                     znfi_objid** altObject) override;

    // import_tree.cpp
    int importTreeNode(zfi_domain* domain, znfi_objid** treeNodeIds, znfi_objid** altTreeNodeIds, int count,
                       znfi_objid** altObject) override;

    // alternate_node.cpp
    int initAltNode(zfi_domain* node, zfi_domain* parent, zfi_domain* target, bool remote) override;
    int reAccessAltNode(zfi_domain* node, znfi_objid* altNodeObject, znfi_objid* object, char* fid,
                        znfi_objid** objects, znfi_objid** altObjects, int count, zfi_intent intent) override;

    // deport.cpp
    int deportTree(zfi_domain* node, zfi_domain* altNode, zfi_accessnode* access) override;

    // online.cpp
    int dispose(zfi_domain* parent, zfi_domain* node, zfi_splitnode* splitNode, zfi_disposition disposition) override;
    int online(zfi_domain* parent, zfi_domain* node, int operation, zfi_disposition disposition) override;

    // format.cpp
    int format(char** devices, int deviceCount, char* reserved, char* type, char* options, int flags, char*** outNames,
               int* outCount) override;

    // online_resource.cpp
    int onlineResource(char** devicePaths, int deviceCount, char* mountPoint, char* resourceName, char* options,
                       char* extra, int flags, char*** targetDevicePath, int* targetCount) override;

    // device_probe.cpp. True when the node below a /dev/ can be opened for reading; tries for 8 seconds.
    virtual bool isDeviceAccessible(std::string device);

    // ---- Building blocks, used by the methods above; no framework calls them ----

    // device_probe.cpp. The type that the mount command finds on an unmounted device; empty when it finds none.
    std::string getFSType(const std::string& device);

    // mount_commands.cpp. Those without status throw EFiExecPipe when their command fails.
    // 1 not mounted, 2 mounted, 3 unknown.
    int getMountStatus(const char* mountPoint);
    void mount(const std::string& mountPoint, const std::string& device, const std::string& options);
    void umount(const std::string& mountPoint);
    // 0, 32 busy, 1070; never throws for a failed command. force has no effect on the command.
    int unmountDevice(const char* mountPoint, int force);
    // No error when the directory is there.
    void createMntPoint(const std::string& directory);
    void removeMntPoint(const std::string& directory);

    // mount_names.cpp
    // The last part of the path with its "/"; "/" in front of a path without one.
    void generateName(const std::string& path, std::string& name);
    // Local time as ddmmyyyyhhmmss.
    std::string getTime();
    // *paths becomes an array (malloc) of one copy of path (znfi_alloc_buf, its length and terminator). 0 or 5.
    int createPathAndAllocBuffer(const zfi_tstring& path, char*** paths, int* count);

    // mount_diagnostics.cpp. Writes what the host says of a mount point (and a device, unless empty) into the trace.
    void dumpMountInformation(const std::string& mountPoint, const std::string& device);

    // Runs one command. command: a command line of the runner; output: its lines are appended; timeout: seconds. The
    // runner's result code; exitStatus is written only with ZFI_EXEC_PIPE_CMD_FAILED. Throws nothing of its own.
    static inline int executeCommand(const std::string& command, std::vector<std::string>& output, int& exitStatus,
                                     int timeout) {
        const MethodScope scope("executeCommand");
        CFiExecPipePosix runner(1);
        runner.traceLog = tarnLog();
        tarnLog()->trace(kTraceDetail, "executeCommand - Command : %s", command.c_str());
        const int result = runner.Exec(command, output, "", static_cast<unsigned long>(timeout), "", "", "");
        if (result == ZFI_EXEC_PIPE_SUCCESS) {
            return result;
        }
        tarnLog()->trace(kTraceWarning, "executeCommand - Exec Pipe failed with error code [%d]", result);
        if (result == ZFI_EXEC_PIPE_CMD_FAILED) {
            exitStatus = static_cast<int>(runner.getLastError().exitStatus);
            tarnLog()->trace(kTraceWarning, "executeCommand - Command [%s] failed with error code [%d]",
                             command.c_str(), exitStatus);
        } else if (result == ZFI_EXEC_PIPE_READ_TIMEOUT) {
            tarnLog()->trace(kTraceWarning, "executeCommand - Command [%s] has timmedout", command.c_str());
        }
        return result;
    }

  private:
    // The node's private data, or null: none attached, or no factory installed yet.
    CFiSmartPtr<CTARNPrivData> privateDataOf(zfi_domain* node) const;
    // Made and attached when there is none; node must have a name. Throws CFiError when no factory is installed.
    CFiSmartPtr<CTARNPrivData> allocatePrivateData(zfi_domain* node, bool isAltNode) const;

    // freeze.cpp, cache.cpp: what two methods share. method and word stand in the trace texts; program is the command
    // without its operands.
    int runFreezeCommand(const char* method, const std::string& program, zfi_quiescenode** nodes);
    int remount(const char* method, const char* word, const std::string& program, zfi_domain* node);
    // access.cpp: one entry of the list. isDone: the entries behind it are not to be looked at.
    int enableAccessOf(const zfi_node_subobj_list& entry, bool& isDone);
    // online.cpp: failure becomes the status that a command which fails is answered with.
    int onlineMount(zfi_domain* node, int& failure);
    int onlineUmount(const std::string& name, zfi_disposition disposition, int& failure);
    // format.cpp
    void makeFileSystem(const std::string& device, const std::string& type, const std::string& options);
    void proveFileSystem(const std::string& device);
    // online_resource.cpp
    int onlineMounted(const std::string& device, const std::string& current, const std::string& wanted, char*** paths,
                      int* count);
    void mountOrRepair(const std::string& device, const std::string& mountPoint, const std::string& options);
};

// Has the users of the mount point killed with the signal and unmounts it: the status of unmountDevice. Throws
// EFiExecPipe when nobody could be signalled.
int force_unmount(const char* mountPoint, int signal);
