#include "host/device/block_device.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "host/freeze/owned_fd.h"
#include "host/mounts/preflight.h"
#include "host/mounts/preflight_way.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

constexpr std::string_view kOperation = "look at the device";

Status readSizeAndMode(BlockDevice& device) {
    const OwnedFd opened(::open(device.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    int isReadOnly = 0;
    if (!opened || ::ioctl(opened.get(), BLKGETSIZE64, &device.bytes) != 0 ||
        ::ioctl(opened.get(), BLKROGET, &isReadOnly) != 0) {
        return systemFailure(ExitCode::kFailed, kOperation, device.path, "cannot be read", errno);
    }
    device.isReadOnly = isReadOnly != 0;
    if (device.bytes == 0) {
        return Failure{ExitCode::kUnsupported, std::string(kOperation), device.path,
                       "it holds nothing: no file is attached, or there is no medium"};
    }
    return Done{};
}

}  // namespace

Result<BlockDevice> findBlockDevice(const std::string& given) {
    if (Status plain = checkName(NameKind::kDevice, given); !plain) {
        return plain.failure();
    }
    if (!given.starts_with('/')) {
        return Failure{ExitCode::kUsage, std::string(kOperation), given, "name it from \"/\" on: /dev/…"};
    }
    std::error_code error;
    const std::string path = std::filesystem::canonical(given, error).native();
    if (error) {
        const bool isMissing = error == std::errc::no_such_file_or_directory;
        return Failure{isMissing ? ExitCode::kNotFound : ExitCode::kFailed, std::string(kOperation), given,
                       error.message()};
    }
    if (Status plain = checkName(NameKind::kDevice, path); !plain) {
        return plain.failure();
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return systemFailure(ExitCode::kFailed, kOperation, path, "cannot be looked at", errno);
    }
    if (!S_ISBLK(status.st_mode)) {
        return Failure{ExitCode::kUnsupported, std::string(kOperation), path, "it is no block device"};
    }
    // The commands below us find it by its name again.
    if (Status reliable = checkWay(std::string(kOperation), path); !reliable) {
        return reliable.failure();
    }
    BlockDevice device{path, status.st_rdev, 0, false};
    if (Status read = readSizeAndMode(device); !read) {
        return read.failure();
    }
    return device;
}

}  // namespace tarnctl
