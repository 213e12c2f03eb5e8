// Freezing a file system just before the layer below takes its snapshot, and thawing it right after. Only the first
// node of a list is worked on, and the plug-in keeps no record of what it froze.
#include "command.h"
#include "guarded.h"
#include "object_name.h"
#include "tarn_plugin.h"

namespace {

zfi_domain* firstNode(zfi_quiescenode** nodes) {
    return nodes == nullptr || nodes[0] == nullptr ? nullptr : nodes[0]->domain;
}

// Types that begin so are frozen, and ufs with the command of xfs: there is no other.
bool isFrozenType(std::string_view type) {
    return isXfsType(type) || type.starts_with("ufs");
}

}  // namespace

int CTARNPlugin::quiesce(zfi_quiescenode** nodes, int, char*) {
    const MethodScope scope("quiesce");
    return guarded(ZFI_ERR_FAILED, [&] { return runFreezeCommand("quiesce", "/usr/sbin/xfs_freeze -f ", nodes); });
}

int CTARNPlugin::unquiesce(zfi_quiescenode** nodes, int) {
    const MethodScope scope("unquiesce");
    return guarded(ZFI_ERR_FAILED, [&] { return runFreezeCommand("unquiesce", "/usr/sbin/xfs_freeze -u ", nodes); });
}

int CTARNPlugin::runFreezeCommand(const char* method, const std::string& program, zfi_quiescenode** nodes) {
    zfi_domain* node = firstNode(nodes);
    const char* mountPoint = nameOf(node);
    const CFiSmartPtr<CTARNPrivData> data = privateDataOf(node);
    if (mountPoint == nullptr || !data) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    if (!isFrozenType(data->fsType)) {
        return ZFI_OK;
    }
    Command command;
    const std::string line = program + " " + mountPoint;
    if (!command.announceAndRun(line)) {
        tarnLog()->trace(kTraceError, "TARN::%s - command [%s] failed with message '%s'.", method, line.c_str(),
                         command.text().c_str());
        command.raise();
    }
    return ZFI_OK;
}
