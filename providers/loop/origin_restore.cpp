#include "origin_restore.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "device_users.h"
#include "loop_attach.h"

namespace loopfi {
namespace {

constexpr std::chrono::seconds kWaitForOthers{2};
constexpr std::chrono::milliseconds kBetweenLooks{10};

[[noreturn]] void refuse(const std::string& why) {
    throw std::runtime_error(why);
}

[[noreturn]] void refuseBusy(const std::string& why) {
    throwErrno(why, EBUSY);
}

std::string imagePathOf(const std::string& copyPath) {
    const auto end = copyPath.rfind(loopfi::copyPath({}, {}));
    return end == std::string::npos ? std::string() : copyPath.substr(0, end);
}

// What was written through the device and not yet reached the file.
void flushDevice(const std::string& device) {
    const Descriptor fd(::open(device.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd || ::fsync(fd.get()) != 0) {
        throwErrno("flush " + device);
    }
}

// Flushes, and forgets what was read.
void flushBuffers(int device, const std::string& name) {
    if (::fsync(device) != 0 || ::ioctl(device, BLKFLSBUF, 0) != 0) {
        throwErrno("flush " + name);
    }
}

}  // namespace

OriginRestore OriginRestore::check(const SnapshotRecord& record) {
    if (record.isImported) {
        refuse("the snapshot file " + record.file + " was made elsewhere: its origin is not here");
    }
    if (!record.image) {
        refuse("the record of " + record.file + " does not tell what the origin was");
    }
    OriginRestore restore;
    restore.shape_ = *record.image;
    restore.geometry_ = record.geometry;
    restore.openCopy(record);
    restore.openImage(record);
    restore.findDevice(record);
    restore.checkDevice();
    restore.checkSpace();
    return restore;
}

void OriginRestore::openCopy(const SnapshotRecord& record) {
    copyPath_ = record.file;
    const auto found = findCopy(copyPath_, record.identity);
    if (!found) {
        refuse("the snapshot file " + copyPath_ + " is not there");
    }
    copyIdentity_ = *found;
    const SplitPath split = splitPath(copyPath_);
    directory_ = openDirectory(split.directory);
    copy_ = Descriptor(::openat(directory_.get(), split.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!copy_ || ::fstat(copy_.get(), &status) != 0) {
        throwErrno("open the snapshot file " + copyPath_);
    }
    if (FileIdentity::of(status) != copyIdentity_ || static_cast<std::uint64_t>(status.st_size) != shape_.length) {
        refuse("the snapshot file " + copyPath_ + " is not as it was made: it has " + std::to_string(status.st_size) +
               " bytes instead of " + std::to_string(shape_.length));
    }
    for (const std::string& device : devicesOver(copyIdentity_, split.name)) {
        struct stat node {};
        if (::stat(device.c_str(), &node) == 0 && usersOf(node.st_rdev).isWritten) {
            refuseBusy("the snapshot on " + device + " is mounted for writing");
        }
    }
}

void OriginRestore::openImage(const SnapshotRecord& record) {
    imagePath_ = imagePathOf(record.file);
    const std::string name = splitPath(imagePath_).name;
    image_ = Descriptor(::openat(directory_.get(), name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!image_ || ::fstat(image_.get(), &status) != 0) {
        throwErrno("open the backing file " + imagePath_ + " for writing");
    }
    if (!S_ISREG(status.st_mode) || status.st_dev != copyIdentity_.device) {
        refuse("the backing file " + imagePath_ + " was replaced by something else");
    }
    if (const char* difference = differenceTo(shape_, image_.get()); *difference != '\0') {
        refuse("the backing file " + imagePath_ + " " + difference);
    }
    imageIdentity_ = FileIdentity::of(status);
}

// By the file and not by the recorded number, which may be another one's by now.
void OriginRestore::findDevice(const SnapshotRecord& record) {
    const std::vector<std::string> devices = devicesOver(imageIdentity_, splitPath(imagePath_).name);
    if (devices.size() > 1) {
        refuseBusy("the backing file " + imagePath_ + " is attached to " + devices[0] + " and to " + devices[1]);
    }
    if (devices.empty()) {
        device_ = attachHeld(image_.get(), imagePath_, geometry_, held_);
    } else {
        device_ = devices.front();
        held_ = Descriptor(::open(device_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (!held_ || attachedTo(held_.get()) != imageIdentity_) {
            refuse("the device " + device_ + " of " + record.originDevice + " went away while it was looked at");
        }
    }
}

void OriginRestore::checkDevice() const {
    const LoopInspection inspection = inspectLoop(device_);
    if (!inspection.status) {
        refuse(device_ + " cannot be restored: " + inspection.reason);
    }
    const LoopStatus& status = *inspection.status;
    if (status.backing != imageIdentity_) {
        refuse("the device " + device_ + " is attached to " + status.backingFile + " now");
    }
    if (status.offset != geometry_.offset || status.sizeLimit != geometry_.sizeLimit) {
        refuse("the device " + device_ + " shows another part of " + imagePath_ + " than the snapshot does");
    }
    if (status.isReadOnly) {
        refuse("the device " + device_ + " is read-only");
    }
    if (const std::string above = usersOf(status.number).above; !above.empty()) {
        refuseBusy("the device " + device_ + " is part of " + above);
    }
}

Extent OriginRestore::shownPart() const {
    const std::uint64_t rest = shape_.length - std::min(geometry_.offset, shape_.length);
    return {geometry_.offset, geometry_.sizeLimit == 0 ? rest : std::min(rest, geometry_.sizeLimit)};
}

void OriginRestore::checkSpace() {
    const Extent range = shownPart();
    method_ = rehearseWrite(copy_.get(), directory_.get(), range);
    if (method_ == WriteMethod::kCopy) {
        // Where whole files clone, blocks may be shared, and writing to them takes new ones.
        mayShare_ = rehearseWrite(copy_.get(), directory_.get(), {0, shape_.length}) == WriteMethod::kClone;
        provideSpace(copy_.get(), image_.get(), range, mayShare_, true);
    }
}

// Held exclusively it cannot be mounted or become part of something else. An unmount is seen here before its file
// system is gone: a mount name space that was made meanwhile and is about to end, or a path that is just being walked,
// keeps it.
Descriptor OriginRestore::takeDevice() const {
    struct stat node {};
    if (::stat(device_.c_str(), &node) == 0) {
        if (const std::string point = usersOf(node.st_rdev).mountedAt; !point.empty()) {
            refuseBusy("the origin " + device_ + " is mounted at " + point);
        }
    }
    const auto until = std::chrono::steady_clock::now() + kWaitForOthers;
    for (;;) {
        Descriptor device(::open(device_.c_str(), O_RDWR | O_EXCL | O_CLOEXEC));
        if (device) {
            return device;
        }
        if (errno != EBUSY || std::chrono::steady_clock::now() >= until) {
            throwErrno("take the origin " + device_ + " for us alone");
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

void OriginRestore::run() {
    const Descriptor device = takeDevice();
    checkDevice();
    if (const char* difference = differenceTo(shape_, image_.get()); *difference != '\0') {
        refuse("the backing file " + imagePath_ + " " + difference);
    }
    for (const std::string& one : devicesOver(copyIdentity_, splitPath(copyPath_).name)) {
        flushDevice(one);
    }
    flushBuffers(device.get(), device_);
    write();
    if (::fsync(image_.get()) != 0) {
        throwErrno("flush the backing file " + imagePath_);
    }
    flushBuffers(device.get(), device_);
}

void OriginRestore::write() {
    const Extent range = shownPart();
    if (method_ == WriteMethod::kClone) {
        hasBegun_ = true;
        if (cloneRange(copy_.get(), image_.get(), range)) {
            return;
        }
        hasBegun_ = false;  // the kernel refused it before it began
        mayShare_ = true;
    }
    provideSpace(copy_.get(), image_.get(), range, mayShare_, false);
    hasBegun_ = true;
    copyRange(copy_.get(), image_.get(), range);
}

}  // namespace loopfi
