#include "tarn_plugin.h"

#include <string_view>

#include "cfierror.h"
#include "cfiproviderinfo.h"
#include "fs_types.h"
#include "guarded.h"
#include "object_name.h"

CTARNPlugin::CTARNPlugin() = default;
CTARNPlugin::~CTARNPlugin() = default;

int CTARNPlugin::init() {
    const MethodScope scope("init");
    const int status = guarded(ZFI_ERR_FAILED, [&] {
        catalogManager()->registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", cfi_pgn_name_tstr));

        const CFiSmartPtr<CFiPrivateDataFactory> factory = makeCounted<CFiPrivateDataConcreteFactory<CTARNPrivData>>();
        const auto manager = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
        manager->registerFactory(factory);
        factory->registerTraceLog(manager->traceLog());
        return ZFI_OK;
    });
    if (status != ZFI_OK) {
        reportInitializationFailed(__LINE__);
    }
    return status;
}

void CTARNPlugin::fini() {
    const MethodScope scope("fini");
}

int CTARNPlugin::supportsFiType(zfi_domain* domain, char* type) {
    const MethodScope scope("supportsFiType");
    if (domain == nullptr || domain->fiTypeResult == nullptr || type == nullptr) {
        return 0;
    }
    const std::string_view name = type;
    const int answer = name == "any" || name == "ufs_lockfs" || name == "xfs_freeze" ? 1 : 0;
    *domain->fiTypeResult = answer;
    return answer;
}

int CTARNPlugin::getProviderInfo(zfi_provider_list** list) {
    const MethodScope scope("getProviderInfo");
    return guarded(ZFI_ERR_FAILED, [&] {
        if (list == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        CFiProviderInfoListFactory providers(cfi_pgn_name_tstr, {7, 0, 0, 0}, list);
        CFiProviderInfo info(16, 2);
        for (const char* type : kOwnTypes) {
            info.addType(type);
        }
        providers.add(info);
        providers.finish();
        return ZFI_OK;
    });
}

int CTARNPlugin::processProviderState(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation) {
    const MethodScope scope("processProviderState");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (nameOf(node) == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const CFiSmartPtr<CTARNPrivData> data = allocatePrivateData(node, false);
        if (operation == ZFI_STATE_SAVE) {
            return data->getNodeState(blob);
        }
        if (operation != ZFI_STATE_RESTORE) {
            return ZFI_OK;
        }
        if (blob == nullptr || blob->data == nullptr) {
            tarnLog()->trace(kTraceError, "CTARNPlugin::processProviderState: either blob or blob->data is NULL");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        return data->setNodeState(blob);
    });
}

CFiSmartPtr<CTARNPrivData> CTARNPlugin::privateDataOf(zfi_domain* node) const {
    if (!privateDataManager() || !privateDataManager()->getFactory()) {
        return {};
    }
    const CFiSmartPtr<CFiPrivateData> data = privateDataManager()->getFactory()->access(node);
    return CFiSmartPtr<CTARNPrivData>(static_cast<CTARNPrivData*>(data.get()));
}

CFiSmartPtr<CTARNPrivData> CTARNPlugin::allocatePrivateData(zfi_domain* node, bool isAltNode) const {
    if (!privateDataManager() || !privateDataManager()->getFactory()) {
        throw CFiError(ZFI_ERR_INVALID_ARGUMENT, "no private data can be made before init.", kTarnSource, __LINE__,
                       "allocatePrivateData");
    }
    const CFiSmartPtr<CFiPrivateData> data = privateDataManager()->getFactory()->allocate(node, isAltNode);
    return CFiSmartPtr<CTARNPrivData>(static_cast<CTARNPrivData*>(data.get()));
}
