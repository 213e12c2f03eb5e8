#include "loop_attach.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace loopfi {
namespace {

constexpr int kAttachTries = 100;
constexpr std::chrono::milliseconds kBetweenTries{1};
constexpr std::chrono::seconds kWaitForOthers{2};
constexpr std::chrono::milliseconds kBetweenLooks{10};

Descriptor openControl() {
    Descriptor control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    if (!control) {
        throwErrno("open /dev/loop-control");
    }
    return control;
}

std::string freeDevice(int control) {
    const int number = ::ioctl(control, LOOP_CTL_GET_FREE);
    if (number < 0) {
        throwErrno("get a free loop device");
    }
    return "/dev/loop" + std::to_string(number);
}

loop_config configurationFor(int file, const std::string& reference, const LoopGeometry& like) {
    loop_config config{};
    config.fd = static_cast<__u32>(file);
    config.block_size = like.blockSize;
    config.info.lo_offset = like.offset;
    config.info.lo_sizelimit = like.sizeLimit;
    reference.copy(reinterpret_cast<char*>(config.info.lo_file_name), LO_NAME_SIZE - 1);
    return config;
}

bool isAttachedTo(const std::string& device, const FileIdentity& file) {
    const Descriptor fd(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
    return fd && attachedTo(fd.get()) == file;
}

// Somebody held the device open, so the kernel only marked it for detaching on the last close. Taking the mark back
// leaves the device as it was found; failing to do so changes nothing about the answer, which is "busy".
void takeBackAutoclear(const std::string& device, const FileIdentity& file) {
    const Descriptor fd(::open(device.c_str(), O_RDWR | O_CLOEXEC));
    loop_info64 info{};
    if (fd && ::ioctl(fd.get(), LOOP_GET_STATUS64, &info) == 0 && FileIdentity{info.lo_device, info.lo_inode} == file) {
        info.lo_flags &= ~static_cast<__u32>(LO_FLAGS_AUTOCLEAR);
        ::ioctl(fd.get(), LOOP_SET_STATUS64, &info);
    }
}

// Answers the device and, in `holder`, a descriptor of it.
std::string attach(loop_config config, const std::string& reference, Descriptor& holder) {
    const Descriptor control = openControl();
    for (int i = 0;; ++i) {
        const std::string device = freeDevice(control.get());
        Descriptor fd(::open(device.c_str(), O_RDWR | O_CLOEXEC));
        if (fd && ::ioctl(fd.get(), LOOP_CONFIGURE, &config) == 0) {
            holder = std::move(fd);
            return device;
        }
        // Taken or removed by somebody else since it was free: ask for another one.
        const bool isRace = errno == EBUSY || errno == ENXIO || errno == ENODEV || (!fd && errno == ENOENT);
        if (!isRace || i == kAttachTries) {
            throwErrno("attach " + reference + " to " + device);
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

}  // namespace

void provideFreeDevice() {
    const Descriptor control = openControl();
    const std::string device = freeDevice(control.get());
    // Where device nodes are made by a daemon, a new device's node comes a little later.
    for (int i = 0; ::access(device.c_str(), F_OK) != 0; ++i) {
        if (i == kAttachTries) {
            throwErrno("wait for the free loop device " + device);
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

std::string attachFile(int file, const std::string& reference, const LoopGeometry& like) {
    Descriptor holder;
    return attach(configurationFor(file, reference, like), reference, holder);
}

std::string attachHeld(int file, const std::string& reference, const LoopGeometry& like, Descriptor& holder) {
    loop_config config = configurationFor(file, reference, like);
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
    return attach(config, reference, holder);
}

Detached detachFile(const std::string& device, const FileIdentity& file) {
    {
        // Held open by us the device cannot be detached and attached to another file between the two calls;
        // exclusively, it cannot be mounted or part of something else.
        const Descriptor fd(::open(device.c_str(), O_RDWR | O_EXCL | O_CLOEXEC));
        if (!fd) {
            const int error = errno;
            if (error == ENOENT || error == ENXIO || error == ENODEV || !isAttachedTo(device, file)) {
                return Detached::kBefore;
            }
            throwErrno("detach " + device, error);
        }
        if (attachedTo(fd.get()) != file) {
            return Detached::kBefore;
        }
        if (::ioctl(fd.get(), LOOP_CLR_FD) != 0) {
            throwErrno("detach " + device);
        }
    }
    const auto until = std::chrono::steady_clock::now() + kWaitForOthers;
    while (isAttachedTo(device, file)) {
        if (std::chrono::steady_clock::now() >= until) {
            takeBackAutoclear(device, file);
            throwErrno("detach " + device + ", which somebody holds open", EBUSY);
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return Detached::kNow;
}

}  // namespace loopfi
