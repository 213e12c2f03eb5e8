// A picture of the host for the trace, taken when a mount or unmount fails and its output does not say why.
#include <sys/stat.h>

#include <cerrno>

#include "command.h"
#include "tarn_plugin.h"

namespace {

template <typename Value>
std::string tagged(const std::string& field, Value value) {
    return "<statData." + field + ">" + std::to_string(value) + "</statData." + field + ">";
}

// The fields that devices and mount points have in common, on one line.
std::string statText(const struct stat& data) {
    return tagged("st_mode", data.st_mode) + tagged("st_dev", data.st_dev) + tagged("st_nlink", data.st_nlink) +
           tagged("st_uid", data.st_uid) + tagged("st_gid", data.st_gid) + tagged("st_atime", data.st_atime) +
           tagged("st_ctime", data.st_ctime);
}

// The device number stands twice.
std::string deviceText(const std::string& device) {
    struct stat data = {};
    const int error = stat(device.c_str(), &data) == 0 ? 0 : errno;
    const std::string head = "Dumping device information for device " + device + "\n";
    if (error != 0) {
        return head + "Stat information failed for the device " + device + "with error code " + std::to_string(error) +
               "\n";
    }
    return head + "Dumping stat information for device " + device + "\n" + statText(data) +
           tagged("st_dev", data.st_dev) + tagged("st_rdev", data.st_rdev);
}

// The heading stands twice when there is something to say.
std::string mountPointText(const std::string& mountPoint) {
    struct stat data = {};
    const int error = stat(mountPoint.c_str(), &data) == 0 ? 0 : errno;
    const std::string head = "Dumping stat information for mount point " + mountPoint + "\n";
    if (error != 0) {
        return head + "Stat information failed for the mount point " + mountPoint + "with error code " +
               std::to_string(error) + "\n";
    }
    return head + head + statText(data);
}

}  // namespace

void CTARNPlugin::dumpMountInformation(const std::string& mountPoint, const std::string& device) {
    const MethodScope scope("dumpMountInformation");
    if (!device.empty()) {
        tarnLog()->trace(kTraceProgress, "dumpInformationDevice = %s", deviceText(device).c_str());
    }
    tarnLog()->trace(kTraceProgress, "dumpInformationMount = %s", mountPointText(mountPoint).c_str());

    Command command;
    const std::string users = "/sbin/fuser " + mountPoint;
    std::string text = "\nDumping fuser data for mountpoint using command " + users + "\n";
    int result = command.run(users);
    tarnLog()->trace(kTraceProgress, "dumpInformationFuser: FUSER_CMD = %s", users.c_str());
    text += result == ZFI_EXEC_PIPE_SUCCESS ? command.text()
                                            : "fuser command failed to print usage information with  error code " +
                                                  std::to_string(result) + "and output \n" + command.text() + "\n";
    tarnLog()->trace(kTraceProgress, "dumpInformationFuser = %s", text.c_str());

    const std::string mounts = "/bin/mount ";
    text = "\nDumping information about mounted devices using command " + mounts + "\n";
    result = command.run(mounts);
    tarnLog()->trace(kTraceProgress, "dumpInformationMountCmd: MOUNT_CMD = %s", mounts.c_str());
    text += result == ZFI_EXEC_PIPE_SUCCESS ? command.text()
                                            : "Mount command failed to print mount information with  error code " +
                                                  std::to_string(result) + "and output \n" + command.text() + "\n";
    tarnLog()->trace(kTraceProgress, "dumpInformationMountCmd = %s", text.c_str());
}
