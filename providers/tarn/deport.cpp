// The end of a mounted snapshot: unmounted, its directory removed.
#include "command.h"
#include "guarded.h"
#include "mount_table.h"
#include "object_name.h"
#include "tarn_plugin.h"

namespace {

void runOrRaise(Command& command, const std::string& line) {
    if (!command.announceAndRun(line)) {
        tarnLog()->trace(kTraceError, "TARN::deportTree - command [%s] failed with message '%s'.", line.c_str(),
                         command.text().c_str());
        command.raise();
    }
}

}  // namespace

int CTARNPlugin::deportTree(zfi_domain* node, zfi_domain* altNode, zfi_accessnode* access) {
    const MethodScope scope("deportTree");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (access == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if (access->imported == 0) {
            return ZFI_OK;
        }
        if (altNode == nullptr) {
            const char* name = nameOf(node);
            if (name == nullptr) {
                return ZFI_ERR_INVALID_ARGUMENT;
            }
            tarnLog()->trace(kTraceWarning, "Invalid alt node object, deport tree with node %s failed.", name);
            return ZFI_OK;
        }
        const char* altName = nameOf(altNode);
        if (altName == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        int mounted = 0;
        if (tarn_get_mntent(altName, &mounted) != ZFI_OK) {
            tarnLog()->trace(kTraceError,
                             "CTARNPlugin::deportTree: mnt-tab file open failed, deport tree with alt node %s failed.",
                             altName);
            return ZFI_ERR_MOUNT_TABLE;
        }
        if (mounted == 0) {
            return ZFI_OK;
        }
        Command command;
        runOrRaise(command, "/bin/umount  " + quoted(altName));
        runOrRaise(command, std::string("/bin/rmdir  ") + altName);
        return ZFI_OK;
    });
}
