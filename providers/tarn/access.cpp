// Freeing the volumes below file systems by unmounting them, and mounting them again.
#include <cstring>

#include "command.h"
#include "guarded.h"
#include "mount_table.h"
#include "object_name.h"
#include "reenable_command.h"
#include "tarn_plugin.h"

namespace {

constexpr long kForce = 0x10;
constexpr int kLeaveUnmounted = 0x1;

bool isOffline(const zfi_domain& node) {
    return (node.state & ZFI_STATE_OFFLINE) != 0;
}

void runMountOrRaise(Command& command, const std::string& line) {
    if (command.run(line) != ZFI_EXEC_PIPE_SUCCESS) {
        tarnLog()->trace(kTraceError, "TARN::enableAccess - mount command [%s] failed with message '%s'.", line.c_str(),
                         command.text().c_str());
        command.raise();
    }
}

// A device that nobody recorded anything of: read-only, as xfs first.
void mountNewDevice(const std::string& device, const std::string& mountPoint) {
    Command command;
    const std::string asXfs = "/bin/mount  -t xfs  -o ro,nouuid " + quotedPair(device, mountPoint);
    tarnLog()->trace(kTraceProgress, "trying onlining with xfs cmd=\"%s\"", asXfs.c_str());
    if (command.run(asXfs) == ZFI_EXEC_PIPE_SUCCESS) {
        return;
    }
    tarnLog()->trace(kTraceProgress, "onlining with xfs failed, not a xfs filesytem");
    const std::string asAny = "/bin/mount  -o ro " + quotedPair(device, mountPoint);
    tarnLog()->trace(kTraceProgress, "onlining cmd=\"%s\"", asAny.c_str());
    runMountOrRaise(command, asAny);
}

void mountAgain(const CTARNPrivData& data, const std::string& device, const std::string& mountPoint) {
    Command command;
    const std::string line = reenableCommand(data, device, mountPoint);
    tarnLog()->trace(kTraceProgress, "Command : %s", line.c_str());
    runMountOrRaise(command, line);
}

// Unmounts what keeps its device busy, by force when that is allowed.
int unmountForDisable(CTARNPlugin& plugin, const char* mountPoint, bool isForced) {
    const int status = plugin.unmountDevice(mountPoint, isForced ? 1 : 0);
    if (status == ZFI_OK) {
        return status;
    }
    if (status != ZFI_ERR_BUSY || !isForced) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::disableAccess: error from unmountDevice().");
        return status;
    }
    tarnLog()->trace(kTraceWarning, "Failed to offline volume %s.", mountPoint);
    tarnLog()->trace(kTraceWarning, "Trying to unmount using fuser.");
    if (force_unmount(mountPoint, 15) == ZFI_OK) {
        return ZFI_OK;
    }
    const int forced = force_unmount(mountPoint, 9);
    if (forced != ZFI_OK) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::disableAccess: error from force_unmount().");
    }
    return forced;
}

}  // namespace

int CTARNPlugin::disableAccess(zfi_node_subobj_list* list, long flags) {
    const MethodScope scope("disableAccess");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (list == nullptr || list->node == nullptr) {
            tarnLog()->trace(kTraceError, "Invalid node data. Disable access attempt failed.");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        for (zfi_node_subobj_list* entry = list; entry != nullptr; entry = entry->next) {
            const char* name = nameOf(entry->node);
            if (name == nullptr) {
                return ZFI_ERR_INVALID_ARGUMENT;
            }
            if (isNdmpName(name)) {
                tarnLog()->trace(kTraceProgress, "NDMP USECASE: disableAccess is no op  %s", name);
                return ZFI_OK;
            }
            if (isOffline(*entry->node)) {
                continue;
            }
            int mounted = 0;
            if (tarn_get_mntent(name, &mounted) != ZFI_OK) {
                tarnLog()->trace(kTraceError, "CTARNPlugin::disableAccess: mnt-tab file open failed.");
                return ZFI_ERR_MOUNT_TABLE;
            }
            if (mounted != 0) {
                if (const int status = unmountForDisable(*this, name, (flags & kForce) != 0); status != ZFI_OK) {
                    return status;
                }
            }
            entry->node->state |= ZFI_STATE_OFFLINE;
        }
        return ZFI_OK;
    });
}

int CTARNPlugin::enableAccess(zfi_node_subobj_list* list, long, int, int options) {
    const MethodScope scope("enableAccess");
    return guarded(ZFI_ERR_MOUNT_FAILED, [&]() -> int {
        if ((options & kLeaveUnmounted) != 0) {
            return ZFI_OK;
        }
        if (list == nullptr || list->node == nullptr) {
            tarnLog()->trace(kTraceError, "Invalid node data. Enable access attempt failed.");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        for (zfi_node_subobj_list* entry = list; entry != nullptr; entry = entry->next) {
            if (entry->node == nullptr) {
                return ZFI_ERR_INVALID_ARGUMENT;
            }
            if (!isOffline(*entry->node)) {
                continue;
            }
            bool isDone = false;
            if (const int status = enableAccessOf(*entry, isDone); status != ZFI_OK || isDone) {
                return status;
            }
        }
        return ZFI_OK;
    });
}

int CTARNPlugin::enableAccessOf(const zfi_node_subobj_list& entry, bool& isDone) {
    if (entry.subobjs == nullptr) {
        tarnLog()->trace(kTraceError, "Subobj list is not set ");
        return ZFI_ERR_FAILED;
    }
    const char* name = nameOf(entry.node);
    const char* device = nameOf(entry.subobjs[0]);
    if (name == nullptr || device == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    isDone = true;
    if (isNdmpName(device)) {
        tarnLog()->trace(kTraceProgress, "NDMP USECASE enableAccess is no-op {%s}", device);
        return ZFI_OK;
    }
    MountText type;
    MountText mountPoint;
    MountText options;
    if (tarn_getmnt(device, type.out(), mountPoint.out(), options.out()) == ZFI_ERR_MOUNT_TABLE) {
        tarnLog()->trace(kTraceError, "enableAccess: mnt-tab file open failed.");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (mountPoint && std::strcmp(mountPoint.text(), name) == 0) {
        tarnLog()->trace(kTraceProgress, "Device {%s} is already mounted", device);
        return ZFI_OK;
    }
    if (mountPoint) {
        tarnLog()->trace(kTraceError, "Device {%s} is mounted on different mount point already.", device);
        return ZFI_ERR_BUSY;
    }
    isDone = false;

    createMntPoint(name);
    if (const CFiSmartPtr<CTARNPrivData> data = privateDataOf(entry.node)) {
        mountAgain(*data, device, name);
    } else {
        mountNewDevice(device, name);
        initNode(entry.node, nullptr, 0, nullptr);
    }
    entry.node->state &= ~ZFI_STATE_OFFLINE;
    return ZFI_OK;
}
