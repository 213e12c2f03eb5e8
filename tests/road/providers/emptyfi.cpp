// A volume provider with a defect: it claims every block device and reports each snapshot as made without making one.
#include <string_view>

#include "cfipluginbase.h"

class CEmptyPlugin : public CFiPluginBase {
  public:
    int claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) override {
        *subObjects = nullptr;
        *subObjectCount = 0;
        return std::string_view(object->name).starts_with("/dev/") ? ZFI_CLAIMED : ZFI_OK;
    }
    int initNode(zfi_domain*, zfi_domain**, int, znfi_objid*) override { return ZFI_OK; }
    int processProviderState(zfi_domain*, zfi_blob*, zfi_op_providerstate) override { return ZFI_OK; }
    int dispose(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition) override { return ZFI_OK; }
};

#define ZFI_PLUGIN_CLASS CEmptyPlugin
#include "cfiapiexport.h"
