#include "loop_import.h"

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "descriptor.h"
#include "loop_attach.h"

namespace loopfi {
namespace {

struct SnapshotFile {
    Descriptor file;
    FileIdentity identity;
};

SnapshotFile openFile(const std::string& path, int access) {
    const SplitPath split = splitPath(path);
    const Descriptor directory = openDirectory(split.directory);
    SnapshotFile opened;
    opened.file =
        Descriptor(::openat(directory.get(), split.name.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!opened.file || ::fstat(opened.file.get(), &status) != 0) {
        throwErrno("open the snapshot file " + path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + " is no regular file: name the snapshot's file, which is attached here");
    }
    if (status.st_size == 0) {
        throw std::runtime_error(path + " is empty: it is no snapshot");
    }
    opened.identity = FileIdentity::of(status);
    return opened;
}

void refuseOther(const SnapshotRecord& record, const std::string& path, const std::string& mark) {
    const std::string wanted = splitPath(record.file).name;
    throw std::runtime_error(
        path + " is not the snapshot's file: " + (mark.empty() ? "another file lies there" : "it was made as " + mark) +
        ", wanted is " + wanted);
}

// An imported file was identified when it was imported; its disk may have another number since.
SnapshotFile openRecorded(const SnapshotRecord& record, int access) {
    if (record.file.empty()) {
        throw std::system_error(ENOENT, std::generic_category(), "the snapshot has no file");
    }
    SnapshotFile opened = openFile(record.file, access);
    const std::string mark = markOf(opened.file.get());
    const bool isSame = record.isImported ? opened.identity.inode == record.identity.inode
                                          : opened.identity == record.identity || mark == splitPath(record.file).name;
    if (!isSame) {
        refuseOther(record, record.file, mark);
    }
    return opened;
}

SnapshotFile openNamed(const SnapshotRecord& record, const std::string& path) {
    SnapshotFile opened = openFile(path, O_RDWR);
    const std::string mark = markOf(opened.file.get());
    if (!mark.empty() && mark != splitPath(record.file).name) {
        refuseOther(record, path, mark);
    }
    return opened;
}

// Whatever calls itself attached; a device may come or go meanwhile.
std::vector<std::string> attachedDevices() {
    std::vector<std::string> devices;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
        std::error_code error;
        if (std::filesystem::exists(entry.path() / "loop/backing_file", error)) {
            devices.push_back("/dev/" + entry.path().filename().string());
        }
    }
    return devices;
}

struct Attached {
    std::string device;
    std::string reference;
    FileIdentity file;
};

std::vector<Attached> everyAttached() {
    std::vector<Attached> found;
    for (const std::string& device : attachedDevices()) {
        const Descriptor fd(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
        const auto file = fd ? attachedTo(fd.get()) : std::nullopt;
        if (file) {
            found.push_back({device, referenceOf(fd.get()), *file});
        }
    }
    return found;
}

}  // namespace

SnapshotRecord attachSnapshot(const SnapshotRecord& record, const std::string& named, const std::string& reference) {
    const SnapshotFile opened = named.empty() ? openRecorded(record, O_RDWR) : openNamed(record, named);
    SnapshotRecord attached = record;
    attached.identity = opened.identity;
    if (!named.empty()) {
        attached.file = named;
        attached.originDevice.clear();  // a device of another host
        attached.isImported = true;
    }
    for (const Attached& other : everyAttached()) {
        if (other.file != opened.identity) {
            continue;
        }
        if (reference.empty() || other.reference != reference) {
            throw std::system_error(EBUSY, std::generic_category(),
                                    attached.file + " is attached to " + other.device + " already");
        }
        attached.snapshotDevice = other.device;
        return attached;
    }
    provideFreeDevice();
    attached.snapshotDevice =
        attachFile(opened.file.get(), reference.empty() ? attached.file : reference, record.geometry);
    return attached;
}

void checkSnapshotFile(const SnapshotRecord& record) {
    openRecorded(record, O_RDONLY);
}

void detachSnapshot(const SnapshotRecord& record) {
    FileIdentity identity = record.identity;
    struct stat status {};
    if (::lstat(record.file.c_str(), &status) == 0 && status.st_ino == identity.inode) {
        identity = FileIdentity::of(status);  // its disk may have another number since
    }
    for (const std::string& device : devicesOver(identity, splitPath(record.file).name)) {
        detachFile(device, identity);
    }
}

void detachReferenced(const std::string& reference) {
    for (const Attached& one : everyAttached()) {
        if (one.reference == reference) {
            detachFile(one.device, one.file);
        }
    }
}

}  // namespace loopfi
