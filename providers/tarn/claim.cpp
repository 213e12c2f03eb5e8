// Whose object is it, and what its node needs to know.
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstring>
#include <memory>
#include <string_view>

#include "fs_types.h"
#include "guarded.h"
#include "mount_table.h"
#include "node_record.h"
#include "object_name.h"
#include "tarn_plugin.h"
#include "z_strings.h"

namespace {

struct ReleaseQuiesceNode {
    void operator()(zfi_quiescenode* record) const {
        freeMemory(record->method);
        znfi_free_buf(record, sizeof(*record));
    }
};
using QuiesceNode = std::unique_ptr<zfi_quiescenode, ReleaseQuiesceNode>;

// A directory on a file system of a kind that the plug-in serves.
bool isClaimable(const char* name) {
    struct stat status = {};
    struct statvfs volume = {};
    return stat(name, &status) == 0 && S_ISDIR(status.st_mode) && statvfs(name, &volume) == 0 &&
           tarn_check_fs_type(name) == 0;
}

// How file systems of this type are frozen; null when they are not.
const char* quiesceMethodOf(std::string_view type) {
    return type == "xfs" ? "xfs_freeze" : type == "ufs" ? "ufs_lockfs" : nullptr;
}

// Null when memory is out.
QuiesceNode makeQuiesceNode(const char* method, zfi_domain* node) {
    QuiesceNode record(static_cast<zfi_quiescenode*>(znfi_alloc_buf(sizeof(zfi_quiescenode))));
    if (record) {
        *record = {strdup(method), node, nullptr};
        if (record->method == nullptr) {
            record.reset();
        }
    }
    return record;
}

void recordNfsVersion(const char* name, CTARNPrivData& data) {
    int version = 0;
    if (getnfsvers(name, &version) == 0) {
        char text[4];
        Z_snprintf(text, sizeof(text), "%d", version);
        data.setFsVersion(text);
    }
}

}  // namespace

int CTARNPlugin::claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) {
    const MethodScope scope("claim");
    return guarded(ZFI_OK, [&]() -> int {
        if (nameOf(object) == nullptr || subObjects == nullptr || subObjectCount == nullptr) {
            return ZFI_OK;
        }
        *subObjects = nullptr;
        *subObjectCount = 0;
        return isClaimable(object->name) ? ZFI_CLAIMED : ZFI_OK;
    });
}

int CTARNPlugin::checkNodeExistence(zfi_domain* node, int* exists) {
    const MethodScope scope("checkNodeExistence");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        const char* name = nameOf(node);
        if (name == nullptr || exists == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        tarnLog()->trace(kTraceProgress, "name : %s", name);
        *exists = isClaimable(name) ? 1 : 0;
        return ZFI_OK;
    });
}

int CTARNPlugin::isParentPgn(char* name, int* result, int) {
    const MethodScope scope("isParentPgn");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (name == nullptr || result == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if (!isDeviceAccessible(name)) {
            return ZFI_OK;
        }
        *result = isOwnType(getFSType(name)) ? 2 : 0;
        return ZFI_OK;
    });
}

int CTARNPlugin::initNode(zfi_domain* node, zfi_domain**, int, znfi_objid*) {
    const MethodScope scope("initNode");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        const char* name = nameOf(node);
        if (name == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        node->displayName = node->objid->name;
        node->quiesce = nullptr;
        node->quiesceNext = nullptr;
        const CFiSmartPtr<CTARNPrivData> data = allocatePrivateData(node, false);
        node->characteristics = ZFI_CHARACTERISTICS;
        if (const int status = recordMountEntry("initNode", name, *data); status != ZFI_OK) {
            return status;
        }

        QuiesceNode record;
        if (const char* method = quiesceMethodOf(data->fsType)) {
            record = makeQuiesceNode(method, node);
            if (!record) {
                tarnLog()->trace(kTraceError, "CTARNPlugin::initNode: memory allocation open failed.");
                return ZFI_ERR_NO_MEMORY;
            }
        }
        if (isNfsType(data->fsType)) {
            recordNfsVersion(name, *data);
        }
        node->quiesce = record.release();
        node->quiesceNext = nullptr;
        return recordSubObject("initNode", name, *data);
    });
}
