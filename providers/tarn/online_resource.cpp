// A restored volume's file system on line: mounted, with one repair and a second try when the first mount fails.
#include <sys/stat.h>

#include "cfistringtool.h"
#include "command.h"
#include "format_option.h"
#include "guarded.h"
#include "mount_table.h"
#include "tarn_plugin.h"

namespace {

constexpr int kMountTimeout = 600;  // seconds
constexpr int kRepairTimeout = 2400;
constexpr int kMounted = 2;

std::string mountOptionsOf(const char* options) {
    if (options == nullptr) {
        return {};
    }
    tarnLog()->trace(kTraceProgress, "TARN::onlineResource - options = %s", options);
    CFiFormatOptionList list;
    list.parse(options);
    return optionValue(list, "mountOptions");
}

void repair(const std::string& device) {
    tarnLog()->trace(kTraceProgress, "CTARN::onlineResource - trying fsck command");
    const std::string line = "/sbin/fsck -y  " + device;
    tarnLog()->trace(kTraceProgress, "fsck Command : %s", line.c_str());
    std::vector<std::string> output;
    int exitStatus = 0;
    const int result = CTARNPlugin::executeCommand(line, output, exitStatus, kRepairTimeout);
    if (result == ZFI_EXEC_PIPE_SUCCESS) {
        return;
    }
    tarnLog()->trace(kTraceError, "TARN::onlineResource -execPipe.Exec failed with errorCode [%d]", result);
    if (result == ZFI_EXEC_PIPE_CMD_FAILED) {
        tarnLog()->trace(kTraceProgress, "FSCK command failed with errorCode [%d] message '%s'.", exitStatus,
                         CFiStringTool::join(output).c_str());
    }
}

}  // namespace

int CTARNPlugin::onlineResource(char** devicePaths, int, char* mountPoint, char*, char* options, char*, int,
                                char*** targetDevicePath, int* targetCount) {
    const MethodScope scope("onlineResource");
    return guarded(ZFI_ERR_FAILED, [&]() -> int {
        if (targetDevicePath == nullptr || targetCount == nullptr) {
            tarnLog()->trace(kTraceError,
                             "CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if (devicePaths == nullptr || devicePaths[0] == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const std::string device = devicePaths[0];
        const std::string mountOptions = mountOptionsOf(options);
        std::string wanted;
        if (mountPoint != nullptr) {
            wanted = mountPoint;
        } else {
            generateName(device, wanted);
        }

        MountText type;
        MountText current;
        MountText currentOptions;
        tarnLog()->trace(kTraceDetail, "Calling znfs_getmnt for :%s", device.c_str());
        if (tarn_getmnt(device.c_str(), type.out(), current.out(), currentOptions.out()) == ZFI_ERR_MOUNT_TABLE) {
            tarnLog()->trace(kTraceError, "Mount point entry lookup failed");
            return ZFI_ERR_MOUNT_TABLE;
        }
        if (current) {
            return onlineMounted(device, current.text(), wanted, targetDevicePath, targetCount);
        }

        struct stat status = {};
        if (stat(wanted.c_str(), &status) != 0) {
            createMntPoint(wanted);
        }
        mountOrRepair(device, wanted, mountOptions);
        const int result = createPathAndAllocBuffer(CFiStringTool::str2tstr(wanted), targetDevicePath, targetCount);
        if (result != ZFI_OK) {
            tarnLog()->trace(kTraceError,
                             "CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer");
        }
        return result;
    });
}

int CTARNPlugin::onlineMounted(const std::string& device, const std::string& current, const std::string& wanted,
                               char*** paths, int* count) {
    tarnLog()->trace(kTraceProgress, "Device: %s :: mntPoint: %s", device.c_str(), current.c_str());
    if (current != wanted) {
        tarnLog()->trace(kTraceError, "Device {%s} is mounted on different mount point already", device.c_str());
        return ZFI_ERR_MOUNTED_ELSEWHERE;
    }
    tarnLog()->trace(kTraceProgress, "Device {%s} is already mounted", device.c_str());
    const int result = createPathAndAllocBuffer(CFiStringTool::str2tstr(wanted), paths, count);
    if (result != ZFI_OK) {
        tarnLog()->trace(kTraceError,
                         "CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer()");
    }
    return result;
}

void CTARNPlugin::mountOrRepair(const std::string& device, const std::string& mountPoint, const std::string& options) {
    const std::string optionsPart = options.empty() ? "" : "-o " + options + " ";
    const std::string line = "/bin/mount  " + optionsPart + quotedPair(device, mountPoint);
    for (int budget = 2;;) {
        tarnLog()->trace(kTraceProgress, "TARN::onlineResource - mount command = %s", line.c_str());
        std::vector<std::string> output;
        int exitStatus = 0;
        const int result = executeCommand(line, output, exitStatus, kMountTimeout);
        if (result == ZFI_EXEC_PIPE_SUCCESS) {
            return;
        }
        tarnLog()->trace(kTraceWarning, "CTARN::onlineResource - execPipe returned with error code [%d]", result);
        if (result == ZFI_EXEC_PIPE_CMD_FAILED) {
            tarnLog()->trace(kTraceError,
                             "CTARN::onlineResource - mount command [%s] failed with errorCode [%d] and message '%s'.",
                             line.c_str(), exitStatus, CFiStringTool::join(output).c_str());
        }
        if (getMountStatus(mountPoint.c_str()) == kMounted) {
            tarnLog()->trace(kTraceWarning, "CTARN::onlineResource - device is mounted on mountPoint");
            return;
        }
        tarnLog()->trace(kTraceError, "CTARN::onlineResource - mount command failed to mount device");
        if (--budget == 0) {
            dumpMountInformation(mountPoint, device);
            throw EFiExecPipe(ZfiExecPipeErrorRecord());
        }
        repair(device);
    }
}
