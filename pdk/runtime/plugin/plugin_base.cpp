// Construction, wiring and what every plug-in object shares. The answers of operations that a provider does not
// implement are in plugin_defaults.cpp, the error and message operations in plugin_messages.cpp.
#include <atomic>

#include "cfipluginbase.h"

namespace {

std::atomic<bool> shuttingDown{false};

}  // namespace

CFiPluginBase::CFiPluginBase() = default;

CFiPluginBase::~CFiPluginBase() = default;

int CFiPluginBase::delayedInit() {
    return ZFI_OK;
}

int CFiPluginBase::init() {
    return ZFI_OK;
}

void CFiPluginBase::fini() {}

CFiConfigParamInfoList* CFiPluginBase::globalConfigInfoList(int index, bool second) {
    return second ? &secondConfigInfo_[index] : &firstConfigInfo_[index];
}

void CFiPluginBase::isShuttingDown(bool value) {
    shuttingDown.store(value, std::memory_order_relaxed);
}

bool CFiPluginBase::isShuttingDown() {
    return shuttingDown.load(std::memory_order_relaxed);
}
