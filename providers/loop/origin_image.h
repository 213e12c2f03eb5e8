// What a loop device showed of its backing file when a snapshot of it was prepared: what must still hold before the
// snapshot may be written back over it.
#pragma once

#include <cstdint>

namespace loopfi {

struct OriginImage {
    std::uint64_t inode = 0;
    std::uint64_t bornNs = 0;  // since 1970; a number is given to another file sooner or later. 0: not known
    std::uint64_t length = 0;  // bytes

    bool operator==(const OriginImage&) const = default;
};

// Of the open backing file. Throws std::system_error.
OriginImage imageOf(int file);

// Why the open file is not the image, one sentence part; empty when it is. Times of birth are compared where both are
// known.
const char* differenceTo(const OriginImage& image, int file);

}  // namespace loopfi
