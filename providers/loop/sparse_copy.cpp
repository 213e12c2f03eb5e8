#include "sparse_copy.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "file_identity.h"

namespace loopfi {
namespace {

constexpr std::uint64_t kStep = std::uint64_t{8} << 20;      // bytes between two looks at the clock
constexpr std::size_t kBufferLength = std::size_t{1} << 20;  // bytes

void checkDeadline(Clock::time_point deadline) {
    if (Clock::now() > deadline) {
        throwErrno("copy the backing file", ETIMEDOUT);
    }
}

void writeAll(int to, const char* data, std::size_t length, std::uint64_t offset) {
    while (length > 0) {
        const ssize_t written = ::pwrite(to, data, length, static_cast<off_t>(offset));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwErrno("write the copy");
        }
        data += written;
        length -= static_cast<std::size_t>(written);
        offset += static_cast<std::uint64_t>(written);
    }
}

// The end of the file ends the copy: nothing lies behind it.
void readAndWrite(int from, int to, Extent extent, Clock::time_point deadline) {
    std::vector<char> buffer(std::min<std::uint64_t>(kBufferLength, extent.length));
    while (extent.length > 0) {
        checkDeadline(deadline);
        const std::size_t want = std::min<std::uint64_t>(buffer.size(), extent.length);
        const ssize_t got = ::pread(from, buffer.data(), want, static_cast<off_t>(extent.offset));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throwErrno("read the backing file");
        }
        if (got == 0) {
            return;
        }
        writeAll(to, buffer.data(), static_cast<std::size_t>(got), extent.offset);
        extent.offset += static_cast<std::uint64_t>(got);
        extent.length -= static_cast<std::uint64_t>(got);
    }
}

bool isUnsupported(int error) {
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

}  // namespace

std::vector<Extent> dataExtents(int fd) {
    std::vector<Extent> extents;
    const off_t end = ::lseek(fd, 0, SEEK_END);
    if (end < 0) {
        throwErrno("find the end of the backing file");
    }
    for (off_t at = 0; at < end;) {
        const off_t data = ::lseek(fd, at, SEEK_DATA);
        if (data < 0) {
            if (errno == ENXIO) {
                break;  // only a hole up to the end
            }
            throwErrno("find data in the backing file");
        }
        const off_t hole = ::lseek(fd, data, SEEK_HOLE);
        if (hole < 0) {
            throwErrno("find holes in the backing file");
        }
        extents.push_back({static_cast<std::uint64_t>(data), static_cast<std::uint64_t>(hole - data)});
        at = hole;
    }
    return extents;
}

std::uint64_t totalLength(const std::vector<Extent>& extents) {
    std::uint64_t total = 0;
    for (const Extent& extent : extents) {
        total += extent.length;
    }
    return total;
}

std::vector<Extent> spreadSample(const std::vector<Extent>& extents, std::uint32_t pieces, std::uint64_t pieceLength) {
    const std::uint64_t total = totalLength(extents);
    if (total <= pieces * pieceLength) {
        return extents;
    }
    std::vector<Extent> sample;
    const std::uint64_t stride = total / pieces;
    std::uint64_t before = 0;  // data that lies before the current extent
    std::uint64_t next = 0;    // where the next piece begins, counted in data
    for (const Extent& extent : extents) {
        while (sample.size() < pieces && next < before + extent.length) {
            const std::uint64_t inside = next - before;
            sample.push_back({extent.offset + inside, std::min(pieceLength, extent.length - inside)});
            next += stride;
        }
        before += extent.length;
    }
    return sample;
}

void copyExtent(int from, int to, const Extent& extent, Clock::time_point deadline) {
    Extent rest = extent;
    while (rest.length > 0) {
        checkDeadline(deadline);
        off_t in = static_cast<off_t>(rest.offset);
        off_t out = in;
        const ssize_t copied = ::copy_file_range(from, &in, to, &out, std::min(kStep, rest.length), 0);
        if (copied < 0 && errno == EINTR) {
            continue;
        }
        // Some file systems answer 0 for what they cannot copy, as for the end of the file; reading tells which it is.
        if (copied == 0 || (copied < 0 && isUnsupported(errno))) {
            readAndWrite(from, to, rest, deadline);
            return;
        }
        if (copied < 0) {
            throwErrno("copy the backing file");
        }
        rest.offset += static_cast<std::uint64_t>(copied);
        rest.length -= static_cast<std::uint64_t>(copied);
    }
}

}  // namespace loopfi
