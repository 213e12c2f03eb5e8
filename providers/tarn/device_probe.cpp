// Questions to a device that is not mounted.
#include <fcntl.h>
#include <unistd.h>

#include "cfistringtool.h"
#include "command.h"
#include "tarn_plugin.h"

namespace {

constexpr int kOpenAttempts = 9;
constexpr int kTypeAttempts = 3;

bool canOpen(const std::string& device) {
    const int descriptor = open(device.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    close(descriptor);
    return true;
}

}  // namespace

bool CTARNPlugin::isDeviceAccessible(std::string device) {
    const MethodScope scope("isDeviceAccessible");
    if (device.find("/dev/") == std::string::npos) {
        return false;
    }
    for (int attempt = 1; !canOpen(device); ++attempt) {
        if (attempt == kOpenAttempts) {
            return false;
        }
        sleep(1);
    }
    return true;
}

std::string CTARNPlugin::getFSType(const std::string& device) {
    const MethodScope scope("getFSType");
    const std::string line = "/bin/mount --guess-fstype  " + device;
    Command command;
    for (int attempt = 1; attempt <= kTypeAttempts; ++attempt) {
        tarnLog()->trace(kTraceProgress, "Command : %s", line.c_str());
        if (const int result = command.run(line); result != ZFI_EXEC_PIPE_SUCCESS) {
            tarnLog()->trace(kTraceError, "Finding fstype cmd [%s] failed with messge '%s' and error code %d.",
                             line.c_str(), command.text().c_str(), result);
            return {};
        }
        if (!command.output().empty()) {
            tarnLog()->trace(kTraceProgress, "fstype cmd [%s] returned with  '%s'", line.c_str(),
                             command.text().c_str());
            return CFiStringTool::rtrim(command.output().front(), " \n\t\r");
        }
        sleep(2);
    }
    tarnLog()->trace(kTraceWarning, "fstype cmd [%s] returned with no output.", line.c_str());
    return {};
}
