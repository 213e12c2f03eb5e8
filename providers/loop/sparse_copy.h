// Copying the data of a file and leaving its holes out. Thread: any; no state. Errors: std::system_error; what was
// copied so far stays.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace loopfi {

using Clock = std::chrono::steady_clock;

struct Extent {
    std::uint64_t offset = 0;  // bytes
    std::uint64_t length = 0;  // bytes
};

// The parts of the open file that hold data, in order. A file system that knows no holes answers one part.
std::vector<Extent> dataExtents(int fd);

std::uint64_t totalLength(const std::vector<Extent>& extents);

// At most `pieces` parts of at most `pieceLength` bytes, spread evenly over the data: what to copy to learn how fast
// copying is. All of the data where there is no more than that.
std::vector<Extent> spreadSample(const std::vector<Extent>& extents, std::uint32_t pieces, std::uint64_t pieceLength);

// Copies the extent to the same place of `to`. Where the kernel cannot copy between the two files it is read and
// written. Looks at `deadline` after every few megabytes and fails with ETIMEDOUT when it has passed.
void copyExtent(int from, int to, const Extent& extent, Clock::time_point deadline);

}  // namespace loopfi
