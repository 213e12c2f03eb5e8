#include "disk.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "kernel_freeze.h"
#include "mounts.h"
#include "private_machine.h"
#include "tool.h"

namespace road {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string imageOf(const std::string& name) {
    return std::string(kRoot) + "/" + ownPrefix() + name + ".img";
}

std::string backingFile(const std::string& device) {
    std::ifstream file("/sys/block/" + device + "/loop/backing_file");
    std::string name;
    std::getline(file, name);
    return name;
}

// A superblock that was frozen when its last mount went away keeps its device. Mounting it again leads to it.
void freeFrozen(const std::string& device) {
    const std::string point = std::string(kRoot) + "/.killed-run";
    mkdir(point.c_str(), 0700);
    for (const char* type : {"xfs", "ext3", "ext2"}) {
        if (mount(device.c_str(), point.c_str(), type, 0, nullptr) == 0) {
            unmountAll(point);
            break;
        }
    }
    rmdir(point.c_str());
}

}  // namespace

Disk::Disk(const std::string& name, uint64_t size) : image_(imageOf(name)) {
    std::ofstream{image_};
    if (truncate(image_.c_str(), static_cast<off_t>(size)) != 0) {
        fail(image_);
    }
    attach();
}

Disk::Disk(const std::string& name, const Disk& origin) : image_(imageOf(name)) {
    mustRun("cp --sparse=always " + origin.image() + " " + image_);
    attach();
}

Disk::~Disk() {
    for (const std::string& point : points()) {
        unmountAll(point);
    }
    close(keeper_);
    unlink(image_.c_str());
    unlink(remembered().c_str());
}

void Disk::attach() {
    const int image = open(image_.c_str(), O_RDWR | O_CLOEXEC);
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    loop_config config = {};
    config.fd = static_cast<uint32_t>(image);
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
    // Another program may take the free one first.
    for (int attempt = 0; attempt < 20 && keeper_ < 0; ++attempt) {
        device_ = "/dev/loop" + std::to_string(ioctl(control, LOOP_CTL_GET_FREE));
        keeper_ = open(device_.c_str(), O_RDWR | O_CLOEXEC);
        if (keeper_ >= 0 && ioctl(keeper_, LOOP_CONFIGURE, &config) != 0) {
            close(keeper_);
            keeper_ = -1;
        }
    }
    close(control);
    close(image);
    if (keeper_ < 0) {
        fail("a loop device for " + image_);
    }
}

void Disk::make(const std::string& type, const std::string& extra) const {
    // Without questions; mkfs.jfs takes its -q for that.
    const std::string force = type == "jfs" ? "" : type == "xfs" || type == "reiserfs" ? "-f " : "-F ";
    mustRun("mkfs." + type + " -q " + force + extra + " " + device_);
}

void Disk::mountAt(const std::string& point, const std::string& options) const {
    mustRun("mkdir -p " + point + " && mount -o " + options + " " + device_ + " " + point);
}

void Disk::remember() const {
    mustRun("blockdev --flushbufs " + device_ + " && cp --sparse=always " + image_ + " " + remembered());
}

bool Disk::isAsRemembered() const {
    return run("blockdev --flushbufs " + device_ + " && cmp " + image_ + " " + remembered()).exitStatus == 0;
}

std::vector<std::string> Disk::points() const {
    std::vector<std::string> found;
    for (const Mount& mount : mounts()) {
        if (mount.device == device_) {
            found.push_back(mount.point);
        }
    }
    return found;
}

std::vector<std::string> loopDevicesOver(const std::string& name) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
        const std::string device = entry.path().filename();
        if (backingFile(device).find(name) != std::string::npos) {
            found.push_back("/dev/" + device);
        }
    }
    return found;
}

void clearWhatKilledRunsLeft() {
    for (const std::string& device : loopDevicesOver(kPrefix)) {
        const std::string image = backingFile(device.substr(std::string("/dev/").size()));
        const size_t prefix = image.find(kPrefix);
        const int owner =
            prefix == std::string::npos ? 0 : std::atoi(image.c_str() + prefix + std::string(kPrefix).size());
        if (owner <= 0 || kill(owner, 0) == 0) {
            continue;
        }
        freeFrozen(device);
        if (const int file = open(device.c_str(), O_RDWR | O_CLOEXEC); file >= 0) {
            ioctl(file, LOOP_CLR_FD);
            close(file);
        }
    }
}

}  // namespace road
