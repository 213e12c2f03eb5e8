#include "loop_device.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "descriptor.h"

namespace loopfi {
namespace {

LoopInspection no(std::string reason) {
    return {std::nullopt, std::move(reason)};
}

LoopInspection noErrno(const char* what) {
    return no(std::string(what) + ": " + std::strerror(errno));
}

// A path may contain a line break: only the one that sysfs adds is cut off.
std::string readAttribute(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

// "/dev/loop3" for the folder that sysfs keeps for the device.
std::string kernelName(const std::string& sysfs) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(sysfs.c_str(), target, sizeof target);
    if (length <= 0) {
        return {};
    }
    return "/dev/" + splitPath(std::string(target, static_cast<std::size_t>(length))).name;
}

LoopInspection inspectOpen(int fd, const std::string& sysfs, LoopStatus status) {
    loop_info64 info{};
    if (::ioctl(fd, LOOP_GET_STATUS64, &info) != 0) {
        return noErrno("the loop device has no status");
    }
    int blockSize = 0;
    if (::ioctl(fd, BLKSSZGET, &blockSize) != 0) {
        return noErrno("the block size cannot be read");
    }
    status.backing = {info.lo_device, info.lo_inode};
    status.offset = info.lo_offset;
    status.sizeLimit = info.lo_sizelimit;
    status.blockSize = static_cast<std::uint32_t>(blockSize);
    status.isReadOnly = (info.lo_flags & LO_FLAGS_READ_ONLY) != 0;
    status.isAutoclear = (info.lo_flags & LO_FLAGS_AUTOCLEAR) != 0;
    status.backingFile = readAttribute(sysfs + "/loop/backing_file");
    if (status.backingFile.empty()) {
        return no("the name of its file cannot be read");
    }
    // A deleted file has " (deleted)" behind its name, and so may a file that was given such a name: only what lies
    // there now can tell them apart.
    struct stat file {};
    if (::lstat(status.backingFile.c_str(), &file) != 0 || FileIdentity::of(file) != status.backing) {
        return no("its file " + status.backingFile + " is deleted, replaced or not reachable from here");
    }
    if (!S_ISREG(file.st_mode)) {
        return no("it is attached to " + status.backingFile + ", which is not a regular file");
    }
    return {std::move(status), {}};
}

}  // namespace

LoopInspection inspectLoop(const std::string& path) {
    // Never opened before it is known to be a loop device: opening an arbitrary device can have effects.
    struct stat node {};
    if (::stat(path.c_str(), &node) != 0) {
        return noErrno("it cannot be read");
    }
    if (!S_ISBLK(node.st_mode)) {
        return no("it is not a block device");
    }
    const std::string sysfs =
        "/sys/dev/block/" + std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    // The partition of a loop device answers the same calls as the whole device; only sysfs tells them apart.
    if (::access((sysfs + "/partition").c_str(), F_OK) == 0) {
        return no("it is a partition");
    }
    if (::access((sysfs + "/loop/backing_file").c_str(), F_OK) != 0) {
        return no("it is not an attached loop device");
    }
    LoopStatus status;
    status.device = kernelName(sysfs);
    status.number = node.st_rdev;
    const Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat opened {};
    if (!fd || ::fstat(fd.get(), &opened) != 0) {
        return noErrno("it cannot be opened");
    }
    if (opened.st_rdev != node.st_rdev) {
        return no("it was replaced while it was looked at");
    }
    return inspectOpen(fd.get(), sysfs, std::move(status));
}

std::optional<FileIdentity> attachedTo(int fd) {
    loop_info64 info{};
    if (::ioctl(fd, LOOP_GET_STATUS64, &info) != 0) {
        return std::nullopt;
    }
    return FileIdentity{info.lo_device, info.lo_inode};
}

std::string referenceOf(int fd) {
    loop_info64 info{};
    if (::ioctl(fd, LOOP_GET_STATUS64, &info) != 0) {
        return {};
    }
    const auto* text = reinterpret_cast<const char*>(info.lo_file_name);
    return {text, ::strnlen(text, LO_NAME_SIZE)};
}

std::vector<std::string> devicesOver(const FileIdentity& file, const std::string& name) {
    std::vector<std::string> devices;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
        const std::string sysfs = entry.path();
        // The name only spares opening other people's devices; whether it is the file, its identity says.
        if (readAttribute(sysfs + "/loop/backing_file").find(name) == std::string::npos) {
            continue;
        }
        const std::string device = "/dev/" + splitPath(sysfs).name;
        const Descriptor fd(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
        if (fd && attachedTo(fd.get()) == file) {
            devices.push_back(device);
        }
    }
    return devices;
}

}  // namespace loopfi
