#include "loop_plugin.h"

#define ZFI_PLUGIN_CLASS CLOOPPlugin
#include "cfiapiexport.h"
