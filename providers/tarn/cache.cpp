// Switching a file system's write caching off around a snapshot, and on again, by remounting it.
#include <unistd.h>

#include "command.h"
#include "guarded.h"
#include "object_name.h"
#include "tarn_plugin.h"

int CTARNPlugin::cacheDisable(zfi_domain* node, int) {
    const MethodScope scope("cacheDisable");
    return guarded(ZFI_ERR_FAILED,
                   [&] { return remount("cacheDisable", "disable", "/bin/mount -o remount,sync", node); });
}

int CTARNPlugin::cacheEnable(zfi_domain* node, int) {
    const MethodScope scope("cacheEnable");
    return guarded(ZFI_ERR_FAILED, [&] { return remount("cacheEnable", "enable", "/bin/mount -o remount", node); });
}

int CTARNPlugin::remount(const char* method, const char* word, const std::string& program, zfi_domain* node) {
    const char* mountPoint = nameOf(node);
    if (mountPoint == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const CFiSmartPtr<CTARNPrivData> data = privateDataOf(node);
    if (!data) {
        tarnLog()->trace(kTraceError, "Invalid private data for node. Cache %s attempt on file system [%s] failed.",
                         word, mountPoint);
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const std::vector<znfi_objid*>& subObjects = data->getSubObjectList();
    const char* device = subObjects.empty() ? nullptr : nameOf(subObjects.front());
    if (device == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }

    const std::string options = data->mntOpts.empty() ? "" : "," + data->mntOpts;
    const std::string line = program + options + " " + quotedPair(device, mountPoint);
    Command command;
    if (command.announceAndRun(line)) {
        return ZFI_OK;
    }
    tarnLog()->trace(kTraceProgress, "TARN::%s - retrying command [%s] after 2 seconds", method, line.c_str());
    sleep(2);
    if (command.run(line) != ZFI_EXEC_PIPE_SUCCESS) {
        tarnLog()->trace(kTraceError, "TARN::%s - command [%s] failed with message '%s'.", method, line.c_str(),
                         command.text().c_str());
        command.raise();
    }
    return ZFI_OK;
}
