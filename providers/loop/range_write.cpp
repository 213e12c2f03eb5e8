#include "range_write.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <stdexcept>
#include <vector>

#include "descriptor.h"
#include "file_identity.h"

namespace loopfi {
namespace {

constexpr std::size_t kZeroes = std::size_t{1} << 20;  // bytes

std::uint64_t endOf(const Extent& extent) {
    return extent.offset + extent.length;
}

Extent cut(const Extent& extent, const Extent& range) {
    const std::uint64_t begin = std::max(extent.offset, range.offset);
    const std::uint64_t end = std::min(endOf(extent), endOf(range));
    return {begin, end > begin ? end - begin : 0};
}

std::vector<Extent> dataWithin(int file, const Extent& range) {
    std::vector<Extent> found;
    for (const Extent& extent : dataExtents(file)) {
        if (const Extent inside = cut(extent, range); inside.length > 0) {
            found.push_back(inside);
        }
    }
    return found;
}

// What lies in `range` and in none of the extents, which are in order and may reach beyond it.
std::vector<Extent> without(std::span<const Extent> extents, const Extent& range) {
    std::vector<Extent> gaps;
    std::uint64_t at = range.offset;
    for (const Extent& extent : extents) {
        if (extent.offset > at) {
            gaps.push_back({at, std::min(extent.offset, endOf(range)) - at});
        }
        at = std::max(at, endOf(extent));
        if (at >= endOf(range)) {
            return gaps;
        }
    }
    gaps.push_back({at, endOf(range) - at});
    return gaps;
}

// What a copy would have to allocate: data in `from`, a hole in `to`.
std::vector<Extent> newData(int from, int to, const Extent& range) {
    const std::vector<Extent> there = dataWithin(to, range);
    std::vector<Extent> wanted;
    std::size_t near = 0;  // of `there`, the first that may reach into the extent
    for (const Extent& extent : dataWithin(from, range)) {
        while (near < there.size() && endOf(there[near]) <= extent.offset) {
            ++near;
        }
        const std::vector<Extent> gaps = without(std::span(there).subspan(near), extent);
        wanted.insert(wanted.end(), gaps.begin(), gaps.end());
    }
    return wanted;
}

bool isUnknownHere(int error) {
    return error == EOPNOTSUPP || error == ENOSYS || error == ENOTTY || error == EINVAL;
}

int punch(int file, const Extent& extent) {
    return ::fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(extent.offset),
                       static_cast<off_t>(extent.length));
}

void writeZeroes(int file, const Extent& extent) {
    const std::vector<char> zeroes(std::min<std::uint64_t>(kZeroes, extent.length));
    for (std::uint64_t at = extent.offset; at < endOf(extent);) {
        const std::size_t want = std::min<std::uint64_t>(zeroes.size(), endOf(extent) - at);
        const ssize_t written = ::pwrite(file, zeroes.data(), want, static_cast<off_t>(at));
        if (written < 0 && errno != EINTR) {
            throwErrno("empty a part of the backing file");
        }
        at += written > 0 ? static_cast<std::uint64_t>(written) : 0;
    }
}

void allocate(int file, const std::vector<Extent>& extents) {
    for (std::size_t i = 0; i < extents.size(); ++i) {
        if (::fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(extents[i].offset),
                        static_cast<off_t>(extents[i].length)) == 0) {
            continue;
        }
        const int error = errno;
        if (isUnknownHere(error)) {
            return;  // the measured free space has to do
        }
        for (std::size_t made = 0; made <= i; ++made) {
            punch(file, extents[made]);
        }
        throwErrno("provide space in the backing file", error);
    }
}

}  // namespace

WriteMethod rehearseWrite(int from, int directory, const Extent& range) {
    const Descriptor file(::openat(directory, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    struct stat status {};
    if (!file || ::fstat(from, &status) != 0 || ::ftruncate(file.get(), status.st_size) != 0) {
        return WriteMethod::kCopy;
    }
    return cloneRange(from, file.get(), range) ? WriteMethod::kClone : WriteMethod::kCopy;
}

void provideSpace(int from, int to, const Extent& range, bool mayShare, bool isTrial) {
    const std::vector<Extent> wanted = mayShare ? dataWithin(from, range) : newData(from, to, range);
    struct statvfs fs {};
    if (::fstatvfs(to, &fs) != 0) {
        throwErrno("read the free space of the backing file");
    }
    const std::uint64_t available = std::uint64_t{fs.f_bavail} * fs.f_frsize;
    const std::uint64_t bytes = totalLength(wanted);
    if (bytes + bytes / 64 > available) {  // one part in 64 for block maps and for what others write meanwhile
        throw std::runtime_error("writing the snapshot back needs " + std::to_string(bytes + bytes / 64) +
                                 " bytes, its file system has " + std::to_string(available));
    }
    if (!isTrial) {
        allocate(to, mayShare ? newData(from, to, range) : wanted);
    }
}

bool cloneRange(int from, int to, const Extent& range) {
    struct stat status {};
    if (::fstat(from, &status) != 0) {
        throwErrno("read the length of the snapshot file");
    }
    file_clone_range clone{};
    clone.src_fd = from;
    clone.src_offset = range.offset;
    // 0 is "to the end", which need not be a whole block.
    clone.src_length = endOf(range) == static_cast<std::uint64_t>(status.st_size) ? 0 : range.length;
    clone.dest_offset = range.offset;
    if (::ioctl(to, FICLONERANGE, &clone) == 0) {
        return true;
    }
    if (!isUnknownHere(errno) && errno != EXDEV && errno != ETXTBSY && errno != EPERM) {
        throwErrno("clone the snapshot file");
    }
    return false;
}

void copyRange(int from, int to, const Extent& range) {
    const std::vector<Extent> data = dataWithin(from, range);
    for (const Extent& hole : without(data, range)) {
        if (hole.length == 0 || punch(to, hole) == 0) {
            continue;
        }
        if (!isUnknownHere(errno)) {
            throwErrno("empty a part of the backing file");
        }
        writeZeroes(to, hole);
    }
    for (const Extent& extent : data) {
        copyExtent(from, to, extent, Clock::time_point::max());
    }
}

}  // namespace loopfi
