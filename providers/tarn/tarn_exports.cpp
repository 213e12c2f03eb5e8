#include "tarn_plugin.h"

#define ZFI_PLUGIN_CLASS CTARNPlugin
#include "cfiapiexport.h"
