// Mounting a snapshot on the host that reads it, where its device may appear late.
#include <unistd.h>

#include <cstring>

#include "alternate_name.h"
#include "command.h"
#include "guarded.h"
#include "linux_device_discovery.h"
#include "mount_table.h"
#include "object_name.h"
#include "tarn_plugin.h"

namespace {

constexpr size_t kCounterDigits = 7;
constexpr int kAttempts = 5;
constexpr unsigned kPause = 30;  // seconds

const char* orNull(const char* name) {
    return name == nullptr ? "null" : name;
}

// 0 and the name, 3 or 1083.
int chooseName(const zfi_domain& node, std::string& name) {
    if (const char* requested = requestedAlternateName(node)) {
        name = requested;
        if (isMountPoint(requested)) {
            tarnLog()->trace(kTraceError, "import tree node: mount point already in use [%s]", requested);
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        return ZFI_OK;
    }
    if (findFreeName(nameOf(&node) + std::string("_alt"), kCounterDigits, name) != ZFI_OK) {
        tarnLog()->trace(kTraceError, "import tree node: mnt-tab file open failed, for node %s", name.c_str());
        return ZFI_ERR_MOUNT_TABLE;
    }
    return ZFI_OK;
}

// What the rescan finds does not matter here: the next mount shows whether the device has come.
void rescanDevices() {
    CFiSmartPtr<CFiTraceLog> log = tarnLog();
    CLinuxDeviceDiscovery discovery;
    discovery.registerTraceLog(log);
    discovery.discoveryManager().registerTraceLog(log);
    discovery.rescan(true, true, false);
}

std::string mountCommand(const CTARNPrivData& data, const std::string& device, const std::string& altName) {
    std::string line = "/bin/mount  -o ro";
    if (isXfsType(data.fsType)) {
        line += ",nouuid";
    }
    if (isNfsType(data.fsType)) {
        tarnLog()->trace(kTraceError, "nfs version %s", data.fsVersion.c_str());
        if (data.fsVersion == "4") {
            line += " -t nfs4 ";
        }
    }
    return line + " " + quotedPair(device, altName);
}

void mountPatiently(const std::string& line, bool isNfs) {
    Command command;
    for (int attempt = 1;; ++attempt) {
        tarnLog()->trace(kTraceProgress, "Info, import tree node: mount with command [%s]", line.c_str());
        if (command.run(line) == ZFI_EXEC_PIPE_SUCCESS) {
            return;
        }
        tarnLog()->trace(kTraceError, "TARN::importTreeNode - command [%s] failed with message '%s'.", line.c_str(),
                         command.text().c_str());
        if (attempt == kAttempts) {
            command.raise();
        }
        if (attempt == kAttempts - 1 && !isNfs) {
            tarnLog()->trace(kTraceProgress, "TARN::importTreeNode - Initiating device rescan.");
            rescanDevices();
        } else {
            tarnLog()->trace(kTraceProgress, "TARN::importTreeNode command will be retried after %d seconds",
                             static_cast<int>(kPause));
            sleep(kPause);
        }
    }
}

// The object id of the alternate name, with a trace at level when it cannot be made.
bool makeObjectId(const char* altName, int level, znfi_objid** altObject) {
    if (fipgn_get_objid(altName, altObject) == 0) {
        return true;
    }
    tarnLog()->trace(level, "importTreeNode:fipgn_geT_objid with altname (%s) failed.\n", altName);
    return false;
}

// Is the device mounted at the recorded alternate name? 0 and the answer, or 1083.
int findImport(const std::string& altName, const char* device, bool& isInPlace) {
    MountText type;
    MountText mounted;
    MountText options;
    const int status = tarn_get_mntent_value(altName.c_str(), type.out(), mounted.out(), options.out());
    if (status == ZFI_ERR_MOUNT_TABLE) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::initAltNode: mnt-tab open failed.");
        return status;
    }
    isInPlace = status == ZFI_OK && std::strcmp(mounted.text(), device) == 0;
    return ZFI_OK;
}

// Nothing is mounted: the name itself is the alternate name, even when no object id can be made of it.
void importNdmpName(const char* name, CTARNPrivData& data, znfi_objid** altObject) {
    tarnLog()->trace(kTraceProgress, "Info, import tree node: NDMP USECASE skipping snapshot mount");
    if (!makeObjectId(name, kTraceError, altObject)) {
        *altObject = nullptr;
    }
    data.setAltName(name);
}

}  // namespace

int CTARNPlugin::importTreeNode(zfi_domain* domain, znfi_objid**, znfi_objid** altTreeNodeIds, int,
                                znfi_objid** altObject) {
    const MethodScope scope("importTreeNode");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        const char* name = nameOf(domain);
        if (name == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const CFiSmartPtr<CTARNPrivData> data = privateDataOf(domain);
        if (!data) {
            tarnLog()->trace(kTraceError, "import tree node, no private data exists for node %s", name);
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const char* device = firstName(altTreeNodeIds);
        if (device == nullptr || altObject == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        tarnLog()->trace(kTraceProgress, "Info, import tree node: %s, %s, %s, %s, %s", name, data->mntOpts.c_str(),
                         orNull(listedName(*domain, 0)), orNull(listedName(*domain, 1)), data->altName.c_str());
        tarnLog()->trace(kTraceProgress, "Info, import tree altTreeNodeIds: %s ", device);

        if (isNdmpName(device)) {
            importNdmpName(device, *data, altObject);
            return ZFI_OK;
        }

        bool isInPlace = false;
        if (const int status = findImport(data->altName, device, isInPlace); status != ZFI_OK) {
            return status;
        }
        if (isInPlace) {
            return makeObjectId(data->altName.c_str(), kTraceProgress, altObject) ? ZFI_OK : ZFI_ERR_NO_OBJID;
        }

        std::string altName;
        if (const int status = chooseName(*domain, altName); status != ZFI_OK) {
            return status;
        }
        createMntPoint(altName);
        mountPatiently(mountCommand(*data, device, altName), isNfsType(data->fsType));
        if (!makeObjectId(altName.c_str(), kTraceError, altObject)) {
            return ZFI_ERR_NO_OBJID;
        }
        data->setAltName(altName.c_str());
        return ZFI_OK;
    });
}
