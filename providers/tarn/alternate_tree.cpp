// A place for the snapshot beside its origin: mounted read-only under an alternate name.
#include "alternate_name.h"
#include "command.h"
#include "guarded.h"
#include "object_name.h"
#include "tarn_plugin.h"

namespace {

constexpr size_t kCounterDigits = 2;

// 0 and the name, 3 or 1083.
int chooseName(const zfi_domain& node, std::string& name) {
    if (const char* requested = requestedAlternateName(node)) {
        name = requested;
        if (!name.starts_with('/')) {
            tarnLog()->trace(kTraceError, "Build alt tree failed due to invalid alt node name [%s]", requested);
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if (isMountPoint(requested)) {
            tarnLog()->trace(kTraceError, "CTARNPlugin::buildAltTree: Alt node name [%s] already mounted.", requested);
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        return ZFI_OK;
    }
    if (findFreeName(nameOf(&node) + std::string("_alt"), kCounterDigits, name) != ZFI_OK) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::buildAltTree: mnt-tab file open failed.");
        return ZFI_ERR_MOUNT_TABLE;
    }
    return ZFI_OK;
}

}  // namespace

int CTARNPlugin::buildAltTree(zfi_domain* domain, char* fid, znfi_objid**, znfi_objid** snapshotObjects, int,
                              znfi_objid** altObject) {
    const MethodScope scope("buildAltTree");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        const CFiSmartPtr<CTARNPrivData> data = privateDataOf(domain);
        if (domain == nullptr || fid == nullptr) {
            tarnLog()->trace(kTraceProgress, "Exiting buildAltTree, invalid session/fid\n");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const char* device = firstName(snapshotObjects);
        if (!data || nameOf(domain) == nullptr || device == nullptr || altObject == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }

        std::string altName;
        if (const int status = chooseName(*domain, altName); status != ZFI_OK) {
            return status;
        }
        createMntPoint(altName);

        const std::string options = isXfsType(data->fsType) ? " -o ro,nouuid" : " -o ro";
        const std::string line = "/bin/mount " + options + " " + quotedPair(device, altName);
        Command command;
        if (!command.announceAndRun(line)) {
            tarnLog()->trace(kTraceError, "TARN::buildAltTree - command [%s] failed with message '%s'.", line.c_str(),
                             command.text().c_str());
            command.raise();
        }

        if (fipgn_get_objid(altName.c_str(), altObject) != 0) {
            tarnLog()->trace(kTraceError, "buildAltTree:fipgn_geT_objid with altname (%s) failed.\n", altName.c_str());
            *altObject = nullptr;
            return ZFI_ERR_NO_OBJID;
        }
        data->setAltName(altName.c_str());
        return ZFI_OK;
    });
}
