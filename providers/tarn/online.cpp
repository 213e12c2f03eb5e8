// Mounting a node's file system at its path, unmounting it, and getting rid of it altogether.
#include "command.h"
#include "guarded.h"
#include "mount_table.h"
#include "object_name.h"
#include "tarn_plugin.h"

int CTARNPlugin::online(zfi_domain*, zfi_domain* node, int operation, zfi_disposition disposition) {
    const MethodScope scope("online");
    int failure = ZFI_ERR_FAILED;
    return guarded(failure, [&]() -> int {
        if (node == nullptr) {
            tarnLog()->trace(kTraceError, "CTARNPlugin::online: Error: parameter fid is NULL.");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const char* name = nameOf(node);
        if (name == nullptr) {
            return operation == ZFI_ONLINE_MOUNT ? onlineMount(node, failure) : ZFI_ERR_INVALID_ARGUMENT;
        }
        int mounted = 0;
        if (tarn_get_mntent(name, &mounted) != ZFI_OK) {
            tarnLog()->trace(kTraceError, "CTARNPlugin::online: mnt-tab file open failed.");
            return ZFI_ERR_MOUNT_TABLE;
        }
        if (operation == ZFI_ONLINE_MOUNT && mounted == 0) {
            return onlineMount(node, failure);
        }
        if (operation == ZFI_ONLINE_UMOUNT && mounted != 0) {
            return onlineUmount(name, disposition, failure);
        }
        return ZFI_OK;
    });
}

int CTARNPlugin::onlineMount(zfi_domain* node, int& failure) {
    const char* name = nameOf(node);
    const CFiSmartPtr<CTARNPrivData> data = privateDataOf(node);
    if (!data || name == nullptr) {
        tarnLog()->trace(kTraceError, "Invalid private data for node. Cannot online / mount the file system.");
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const std::vector<znfi_objid*>& subObjects = data->getSubObjectList();
    const char* device = subObjects.empty() ? nullptr : nameOf(subObjects.front());
    if (device == nullptr) {
        tarnLog()->trace(kTraceError, "no child objects to mount.");
        return ZFI_ERR_NO_SUBOBJECT;
    }
    MountText type;
    MountText mountPoint;
    MountText options;
    if (tarn_getmnt(device, type.out(), mountPoint.out(), options.out()) == ZFI_ERR_MOUNT_TABLE) {
        tarnLog()->trace(kTraceError, "online: mnt-tab file open failed");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (mountPoint) {
        tarnLog()->trace(kTraceError, "Device {%s} is already mounted on a different mount point.", device);
        return ZFI_ERR_BUSY;
    }

    createMntPoint(name);
    // "-o" stands there without options too.
    const std::string line = "/bin/mount  -o " + data->mntOpts + " " + quotedPair(device, name);
    Command command;
    if (!command.announceAndRun(line)) {
        tarnLog()->trace(kTraceError, "TARN::online - mount command [%s] failed with message '%s'.", line.c_str(),
                         command.text().c_str());
        failure = ZFI_ERR_MOUNT_FAILED;
        command.raise();
    }
    return ZFI_OK;
}

int CTARNPlugin::onlineUmount(const std::string& name, zfi_disposition disposition, int& failure) {
    Command command;
    const auto runOrRaise = [&](const std::string& line, int status) {
        if (!command.announceAndRun(line)) {
            tarnLog()->trace(kTraceError, "TARN::online - command [%s] failed with message '%s'.", line.c_str(),
                             command.text().c_str());
            failure = status;
            command.raise();
        }
    };
    runOrRaise("/bin/umount  " + name, ZFI_ERR_UMOUNT_FAILED);
    if (disposition == ZFI_DISPOSITION_REMOVE) {
        runOrRaise("/bin/rmdir  " + name, ZFI_ERR_RMDIR_FAILED);
    }
    return ZFI_OK;
}

int CTARNPlugin::dispose(zfi_domain*, zfi_domain* node, zfi_splitnode*, zfi_disposition disposition) {
    const MethodScope scope("dispose");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (disposition != ZFI_DISPOSITION_REMOVE) {
            return ZFI_OK;
        }
        const int status = online(nullptr, node, ZFI_ONLINE_UMOUNT, ZFI_DISPOSITION_REMOVE);
        // Written whatever the status: readers of traces know it as the mark of a disposal.
        tarnLog()->trace(kTraceError, "CTARNPlugin::dispose: error from online()");
        return status;
    });
}
