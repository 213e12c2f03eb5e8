#include "frame/probe_plugin.h"

#define ZFI_PLUGIN_CLASS ProbePlugin
#include "cfiapiexport.h"
