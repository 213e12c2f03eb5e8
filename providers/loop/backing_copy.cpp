#include "backing_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <stdexcept>

namespace loopfi {
namespace {

constexpr std::uint32_t kSamplePieces = 16;
constexpr std::uint64_t kSamplePieceLength = std::uint64_t{4} << 20;  // bytes
constexpr const char* kMark = "user.tarnfi.snapshot";
constexpr auto kNoDeadline = Clock::time_point::max();

void checkId(std::string_view id) {
    const auto isSafe = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    };
    if (id.empty() || !std::all_of(id.begin(), id.end(), isSafe)) {
        throw std::runtime_error("the snapshot id \"" + std::string(id) + "\" is not made of letters, digits and '-'");
    }
}

bool isNoClone(int error) {
    return error == EOPNOTSUPP || error == ENOTTY || error == EXDEV || error == EINVAL || error == ENOSYS ||
           error == ETXTBSY || error == EPERM;
}

// False: nothing lies there.
bool isAt(int directory, const std::string& name, const FileIdentity& identity) {
    struct stat status {};
    return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           FileIdentity::of(status) == identity;
}

void setLength(int fd, off_t length, const std::string& path) {
    if (::ftruncate(fd, length) != 0) {
        throwErrno("set the length of " + path);
    }
}

}  // namespace

BackingCopy BackingCopy::reserve(const std::string& backingFile, const FileIdentity& origin, std::string_view id) {
    checkId(id);
    BackingCopy made;
    const SplitPath split = splitPath(backingFile);
    made.originPath_ = backingFile;
    made.path_ = copyPath(backingFile, id);
    made.directory_ = openDirectory(split.directory);
    made.origin_ =
        Descriptor(::openat(made.directory_.get(), split.name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!made.origin_ || ::fstat(made.origin_.get(), &status) != 0) {
        throwErrno("open the backing file " + backingFile);
    }
    if (FileIdentity::of(status) != origin || !S_ISREG(status.st_mode)) {
        throw std::runtime_error("the backing file " + backingFile + " was replaced by another file");
    }
    made.copy_ = Descriptor(::openat(made.directory_.get(), splitPath(made.path_).name.c_str(),
                                     O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!made.copy_ || ::fstat(made.copy_.get(), &status) != 0) {
        throwErrno("create the snapshot file " + made.path_);
    }
    made.identity_ = FileIdentity::of(status);
    made.mark();
    return made;
}

// Where the file system keeps no such attributes, only the record knows the file.
void BackingCopy::mark() {
    const std::string name = splitPath(path_).name;
    if (::fsetxattr(copy_.get(), kMark, name.data(), name.size(), 0) != 0 && errno != EOPNOTSUPP && errno != ENOSPC) {
        throwErrno("mark the snapshot file " + path_);
    }
}

BackingCopy::~BackingCopy() {
    if (copy_ && !isKept_) {
        const std::string name = splitPath(path_).name;
        if (isAt(directory_.get(), name, identity_)) {
            ::unlinkat(directory_.get(), name.c_str(), 0);
        }
    }
}

CopyForecast BackingCopy::rehearse() {
    if (::fdatasync(origin_.get()) != 0) {
        throwErrno("flush the backing file " + originPath_);
    }
    const std::vector<Extent> extents = dataExtents(origin_.get());
    CopyForecast forecast;
    forecast.dataBytes = totalLength(extents);
    const auto start = Clock::now();
    if (tryClone()) {
        forecast.method = CopyMethod::kClone;
        forecast.expected = Clock::now() - start;
    } else {
        refuseWithoutSpace(forecast.dataBytes);
        forecast.expected = measureCopy(extents);
    }
    setLength(copy_.get(), 0, path_);
    return forecast;
}

void BackingCopy::take(CopyMethod method, Clock::time_point deadline) {
    if (method == CopyMethod::kCopy) {
        copyData(deadline);
    } else if (!tryClone()) {
        throwErrno("clone the backing file " + originPath_);
    }
    inheritAccess();
}

bool BackingCopy::tryClone() {
    if (::ioctl(copy_.get(), FICLONE, origin_.get()) == 0) {
        return true;
    }
    if (!isNoClone(errno)) {
        throwErrno("clone the backing file " + originPath_);
    }
    return false;
}

void BackingCopy::refuseWithoutSpace(std::uint64_t bytes) const {
    struct statvfs fs {};
    if (::fstatvfs(copy_.get(), &fs) != 0) {
        throwErrno("read the free space beside " + originPath_);
    }
    const std::uint64_t available = std::uint64_t{fs.f_bavail} * fs.f_frsize;
    // One part in 64 for the file's own block map and for what others write meanwhile.
    const std::uint64_t wanted = bytes + bytes / 64;
    if (wanted > available) {
        throw std::runtime_error("a copy of " + originPath_ + " needs " + std::to_string(wanted) +
                                 " bytes, its file system has " + std::to_string(available));
    }
}

std::chrono::nanoseconds BackingCopy::measureCopy(const std::vector<Extent>& extents) {
    const std::vector<Extent> sample = spreadSample(extents, kSamplePieces, kSamplePieceLength);
    const std::uint64_t sampled = totalLength(sample);
    for (const Extent& extent : sample) {
        // Advice only: where pages stay in memory the reading is as fast as it will then be.
        ::posix_fadvise(origin_.get(), static_cast<off_t>(extent.offset), static_cast<off_t>(extent.length),
                        POSIX_FADV_DONTNEED);
    }
    const auto start = Clock::now();
    for (const Extent& extent : sample) {
        copyExtent(origin_.get(), copy_.get(), extent, kNoDeadline);
    }
    if (::fdatasync(copy_.get()) != 0) {
        throwErrno("flush the snapshot file " + path_);
    }
    const std::chrono::duration<double, std::nano> took = Clock::now() - start;
    const double factor = sampled == 0 ? 1.0 : static_cast<double>(totalLength(extents)) / static_cast<double>(sampled);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(took * factor);
}

void BackingCopy::copyData(Clock::time_point deadline) {
    struct stat status {};
    if (::fstat(origin_.get(), &status) != 0) {
        throwErrno("read the length of " + originPath_);
    }
    setLength(copy_.get(), status.st_size, path_);
    for (const Extent& extent : dataExtents(origin_.get())) {
        copyExtent(origin_.get(), copy_.get(), extent, deadline);
    }
}

void BackingCopy::inheritAccess() {
    struct stat status {};
    if (::fstat(origin_.get(), &status) != 0) {
        throwErrno("read the owner and mode of " + originPath_);
    }
    if (::fchown(copy_.get(), status.st_uid, status.st_gid) != 0) {
        throwErrno("set the owner of " + path_);
    }
    // With an access list the group bits of the mode are only its mask: copied without the list they would let the
    // group in.
    static constexpr const char* kAccessList = "system.posix_acl_access";
    std::array<char, 65536> list{};
    const ssize_t length = ::fgetxattr(origin_.get(), kAccessList, list.data(), list.size());
    if (length > 0 && ::fsetxattr(copy_.get(), kAccessList, list.data(), static_cast<std::size_t>(length), 0) != 0) {
        throwErrno("set the access list of " + path_);
    }
    if (::fchmod(copy_.get(), status.st_mode & 07777) != 0) {
        throwErrno("set the mode of " + path_);
    }
}

std::string copyPath(const std::string& backingFile, std::string_view id) {
    return backingFile + ".tarnfi-" + std::string(id);
}

std::optional<FileIdentity> findCopy(const std::string& path, const FileIdentity& recorded) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        return std::nullopt;
    }
    const SplitPath split = splitPath(path);
    const Descriptor directory = openDirectory(split.directory);
    const Descriptor file(
        ::openat(directory.get(), split.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file || ::fstat(file.get(), &status) != 0) {
        throwErrno("open the snapshot file " + path);
    }
    const FileIdentity found = FileIdentity::of(status);
    const bool isReserved = S_ISREG(status.st_mode) && status.st_size == 0 && status.st_uid == ::geteuid() &&
                            (status.st_mode & 07777) == 0600;
    if (found != recorded && !isReserved && markOf(file.get()) != split.name) {
        throw std::runtime_error("what lies at " + path + " is not the snapshot file that was made there: it stays");
    }
    return found;
}

std::string markOf(int fd) {
    std::array<char, NAME_MAX> name{};
    const ssize_t length = ::fgetxattr(fd, kMark, name.data(), name.size());
    return length > 0 ? std::string(name.data(), static_cast<std::size_t>(length)) : std::string();
}

void deleteCopy(const std::string& path, const FileIdentity& identity) {
    const SplitPath split = splitPath(path);
    const Descriptor directory = openDirectory(split.directory);
    if (isAt(directory.get(), split.name, identity) && ::unlinkat(directory.get(), split.name.c_str(), 0) != 0) {
        throwErrno("delete the snapshot file " + path);
    }
}

}  // namespace loopfi
