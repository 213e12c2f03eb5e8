// A volume provider that says that it cuts atomically, and does: the loop provider on a store that clones files. A
// clone shows its file at one instant, also while it is written to. With TARNFI_TEST_CUT_FAILS it cuts and fails.
#include <cstdlib>

#include "loop_plugin.h"

class CAtomPlugin : public CLOOPPlugin {
  public:
    int objctl(const zfi_tstring& command, CFiObjctlArgs& arguments) override {
        if (command != "cuts_atomically") {
            return CLOOPPlugin::objctl(command, arguments);
        }
        znfi_objid** subObjects = nullptr;
        int count = 0;
        const zfi_tstring device = arguments.input.empty() ? zfi_tstring() : arguments.input.front().value;
        znfi_objid* object =
            znfi_get_objid(device.c_str(), static_cast<uint32_t>(device.length() + 1), ZFI_OBJID_NAMED);
        return object != nullptr && claim(object, &subObjects, &count) == ZFI_CLAIMED ? ZFI_OK
                                                                                      : ZFI_ERR_INVALID_ARGUMENT;
    }

    int makeSnapshots(const CFiSmartPtr<CFiSession>& session) override {
        const int status = CLOOPPlugin::makeSnapshots(session);
        return std::getenv("TARNFI_TEST_CUT_FAILS") == nullptr ? status : ZFI_ERR_FAILED;
    }
};

#define ZFI_PLUGIN_CLASS CAtomPlugin
#include "cfiapiexport.h"
