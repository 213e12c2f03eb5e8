// A provider with a defect: it lets an exception leave an entry point.
#include <stdexcept>

#include "cfipluginbase.h"

class CThrowPlugin : public CFiPluginBase {
  public:
    int claim(znfi_objid*, znfi_objid***, int*) override { throw std::runtime_error("claimed too much"); }
};

#define ZFI_PLUGIN_CLASS CThrowPlugin
#include "cfiapiexport.h"
