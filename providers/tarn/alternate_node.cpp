// The node of a mounted snapshot.
#include <sys/stat.h>

#include "cfierror.h"
#include "cfistringtool.h"
#include "guarded.h"
#include "node_record.h"
#include "object_name.h"
#include "tarn_plugin.h"

int CTARNPlugin::initAltNode(zfi_domain*, zfi_domain*, zfi_domain* target, bool) {
    const MethodScope scope("initAltNode");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (target == nullptr) {
            throw CFiError(ZFI_ERR_INVALID_ARGUMENT, "initAltNode(), target node is invalid.", kTarnSource, __LINE__,
                           "initAltNode");
        }
        const char* name = nameOf(target);
        if (name == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        target->displayName = target->objid->name;
        target->characteristics = ZFI_CHARACTERISTICS;
        const CFiSmartPtr<CTARNPrivData> data = allocatePrivateData(target, true);

        if (isNdmpName(name)) {
            const zfi_tstring text = CFiStringTool::str2tstr(name);
            const auto length = static_cast<uint32_t>(text.length() + 1);
            data->addSubObject(znfi_get_objid(text.c_str(), length, ZFI_OBJID_SUBOBJECT));
            tarnLog()->trace(kTraceProgress, "Info, initAltNode NDMP USECASE returning OK, subobj %s", text.c_str());
            return ZFI_OK;
        }
        if (const int status = recordMountEntry("initAltNode", name, *data); status != ZFI_OK) {
            return status;
        }
        return recordSubObject("initAltNode", name, *data);
    });
}

int CTARNPlugin::reAccessAltNode(zfi_domain*, znfi_objid* altNodeObject, znfi_objid*, char*, znfi_objid**, znfi_objid**,
                                 int, zfi_intent intent) {
    const MethodScope scope("reAccessAltNode");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (intent == ZFI_INTENT_DESTROY) {
            return ZFI_OK;
        }
        const char* path = nameOf(altNodeObject);
        if (path == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        struct stat status = {};
        if (stat(path, &status) != 0) {
            tarnLog()->trace(kTraceError, "CTARNPlugin::reAccessAltNode: error from stat().");
            return ZFI_ERR_ALT_PATH_MISSING;
        }
        return ZFI_OK;
    });
}
