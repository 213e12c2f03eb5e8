#include "host/mounts/fs_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <utility>

#include "host/mounts/mount_table.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

constexpr std::string_view kOperation = "take the lock";

Status checkFolder(const std::string& folder, const std::string& subject) {
    if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        return systemFailure(ExitCode::kFailed, kOperation, subject, "cannot create the folder " + folder, errno);
    }
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) {
        return systemFailure(ExitCode::kFailed, kOperation, subject, "cannot look at the folder " + folder, errno);
    }
    const bool isOwn = status.st_uid == geteuid() || status.st_uid == 0;
    if (!S_ISDIR(status.st_mode) || !isOwn || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Failure{ExitCode::kFailed, std::string(kOperation), subject,
                       folder + " must be a directory that only its owner may write to"};
    }
    return Done{};
}

std::string holderText(int descriptor) {
    std::array<char, 16> text{};
    const ssize_t length = pread(descriptor, text.data(), text.size(), 0);
    const std::string process(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return process.empty() ? "another tarnctl works on it" : "another tarnctl works on it: process " + process;
}

}  // namespace

Result<FsLock> FsLock::take(dev_t fileSystem, const std::string& subject, const std::string& folder) {
    if (Status status = checkFolder(folder, subject); !status) {
        return status.failure();
    }
    return takeFile(folder + "/" + deviceNumberText(fileSystem) + ".lock", subject);
}

Result<FsLock> FsLock::takeForSnapshot(const std::string& snapshotId, const std::string& folder) {
    return takeNamed(snapshotId, snapshotId, folder);
}

Result<FsLock> FsLock::takeForPlace(const std::string& mountPoint, const std::string& folder) {
    return takeNamed(fmt::format("at-{:016x}", std::hash<std::string>()(mountPoint)), mountPoint, folder);
}

// A file that was discarded between our opening and locking it is nobody's lock any more.
Result<FsLock> FsLock::takeNamed(const std::string& name, const std::string& subject, const std::string& folder) {
    if (Status status = checkFolder(folder, subject); !status) {
        return status.failure();
    }
    const std::string file = folder + "/" + name + ".lock";
    Result<FsLock> lock = takeFile(file, subject);
    while (lock && !lock->isAtItsName()) {
        lock = takeFile(file, subject);
    }
    return lock;
}

Result<FsLock> FsLock::takeFile(const std::string& file, const std::string& subject) {
    FsLock lock(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR), file);
    if (lock.descriptor_ < 0) {
        return systemFailure(ExitCode::kFailed, kOperation, subject, "cannot open " + file, errno);
    }
    if (flock(lock.descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            return Failure{ExitCode::kBusy, std::string(kOperation), subject, holderText(lock.descriptor_)};
        }
        return systemFailure(ExitCode::kFailed, kOperation, subject, "cannot lock " + file, errno);
    }
    // The number only makes the message of the one who comes second better: a failure to write it changes nothing.
    const std::string process = std::to_string(getpid());
    if (ftruncate(lock.descriptor_, 0) != 0 || pwrite(lock.descriptor_, process.data(), process.size(), 0) < 0) {
        errno = 0;
    }
    return lock;
}

bool FsLock::isAtItsName() const {
    struct stat ours {};
    struct stat named {};
    return fstat(descriptor_, &ours) == 0 && lstat(file_.c_str(), &named) == 0 && ours.st_ino == named.st_ino &&
           ours.st_dev == named.st_dev;
}

void FsLock::discard() {
    unlink(file_.c_str());
}

FsLock::FsLock(FsLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), file_(std::move(other.file_)) {}

FsLock& FsLock::operator=(FsLock&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(file_, other.file_);
    return *this;
}

FsLock::~FsLock() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

}  // namespace tarnctl
