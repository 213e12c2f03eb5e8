#include "origin_image.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "file_identity.h"

namespace loopfi {
namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

struct statx statusOf(int file) {
    struct statx status {};
    if (::statx(file, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        throwErrno("look at the backing file");
    }
    return status;
}

std::uint64_t bornNsOf(const struct statx& status) {
    if ((status.stx_mask & STATX_BTIME) == 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(status.stx_btime.tv_sec) * kNsPerSecond + status.stx_btime.tv_nsec;
}

}  // namespace

OriginImage imageOf(int file) {
    const struct statx status = statusOf(file);
    return {status.stx_ino, bornNsOf(status), status.stx_size};
}

const char* differenceTo(const OriginImage& image, int file) {
    const struct statx status = statusOf(file);
    const std::uint64_t born = bornNsOf(status);
    if (status.stx_ino != image.inode || (born != 0 && image.bornNs != 0 && born != image.bornNs)) {
        return "was replaced by another file";
    }
    if (status.stx_size != image.length) {
        return status.stx_size > image.length ? "has grown since the snapshot" : "has shrunk since the snapshot";
    }
    return "";
}

}  // namespace loopfi
