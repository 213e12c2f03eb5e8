// What changes the mounts of the host: one command line each.
#include "cfistringtool.h"
#include "command.h"
#include "mount_table.h"
#include "tarn_plugin.h"

namespace {

void runOrRaise(const std::string& line) {
    Command command;
    if (!command.announceAndRun(line)) {
        tarnLog()->trace(kTraceError, "command '%s' failed with message '%s'.", line.c_str(), command.text().c_str());
        command.raise();
    }
}

}  // namespace

int CTARNPlugin::getMountStatus(const char* mountPoint) {
    const MethodScope scope("getMountStatus");
    MountText device;
    switch (tarn_getsubobj(mountPoint, device.out())) {
        case ZFI_OK:
            return 2;
        case ZFI_ERR_NOT_MOUNTED:
            return 1;
        default:
            tarnLog()->trace(kTraceError, "CTARNPlugin::getMountStatus: error from tarn_getsubobj");
            return 3;
    }
}

void CTARNPlugin::mount(const std::string& mountPoint, const std::string& device, const std::string& options) {
    const MethodScope scope("mount");
    const std::string optionPart = options.empty() ? "" : "-o " + options + " ";
    runOrRaise("/bin/mount  " + optionPart + quotedPair(device, mountPoint));
}

void CTARNPlugin::umount(const std::string& mountPoint) {
    const MethodScope scope("umount");
    runOrRaise("/bin/umount  " + quoted(mountPoint));
}

void CTARNPlugin::createMntPoint(const std::string& directory) {
    const MethodScope scope("createMntPoint");
    runOrRaise("/bin/mkdir -p  " + quoted(directory));
}

void CTARNPlugin::removeMntPoint(const std::string& directory) {
    const MethodScope scope("removeMntPoint");
    runOrRaise("/bin/rmdir  " + directory);
}

int CTARNPlugin::unmountDevice(const char* mountPoint, int) {
    const MethodScope scope("unmountDevice");
    const std::string line = "/bin/umount  " + quoted(mountPoint);
    tarnLog()->trace(kTraceProgress, "unmountDevice - Command : %s", line.c_str());
    std::vector<std::string> output;
    int exitStatus = 0;
    const int result = executeCommand(line, output, exitStatus, Command::kTimeout);
    if (result == ZFI_EXEC_PIPE_SUCCESS) {
        return ZFI_OK;
    }
    tarnLog()->trace(kTraceWarning, "Exec Pipe failed with error code [%d]", result);
    if (result == ZFI_EXEC_PIPE_CMD_FAILED) {
        tarnLog()->trace(kTraceWarning, "Command [%s] failed with error code [%d] and message [%s]", line.c_str(),
                         exitStatus, CFiStringTool::join(output).c_str());
    }
    if (CFiStringTool::find(output, "busy")) {
        tarnLog()->trace(kTraceWarning, "Device %s is busy", mountPoint);
        return ZFI_ERR_BUSY;
    }
    if (getMountStatus(mountPoint) == 1) {
        tarnLog()->trace(kTraceWarning, "unmountDevice - Device unmount was succesful");
        return ZFI_OK;
    }
    tarnLog()->trace(kTraceError, "TARN::unmountDevice - Exec Pipe failed with error code [%d]", result);
    if (result == ZFI_EXEC_PIPE_CMD_FAILED) {
        tarnLog()->trace(kTraceError, "TARN::unmountDevice - Command [%s] failed with error code [%d]", line.c_str(),
                         exitStatus);
    }
    dumpMountInformation(mountPoint, "");
    return ZFI_ERR_UMOUNT_FAILED;
}

int force_unmount(const char* mountPoint, int signal) {
    const std::string line = "/sbin/fuser -" + std::to_string(signal) + " -k -m " + mountPoint;
    tarnLog()->trace(kTraceWarning, "Attempting force umount of device %s with command:%s", mountPoint, line.c_str());
    Command command;
    if (command.run(line) != ZFI_EXEC_PIPE_SUCCESS) {
        tarnLog()->trace(kTraceProgress, "failed to call fuser: %s", line.c_str());
        command.raise();
    }
    const auto plugin = CFiContextSingleton<CTARNPlugin, FI_PLUGIN_NAME>::instance(false);
    const int status = plugin->unmountDevice(mountPoint, 1);
    if (status != ZFI_OK) {
        tarnLog()->trace(kTraceError, "force_unmount: error from unmountDevice() for device [%s]", mountPoint);
    }
    return status;
}
