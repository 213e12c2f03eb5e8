// A block device as the caller named it, looked up once.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "host/report/failure.h"

namespace tarnctl {

struct BlockDevice {
    std::string path;  // absolute, without symbolic links: what commands are given
    dev_t number = 0;
    std::uint64_t bytes = 0;
    bool isReadOnly = false;
};

// Both the name as given and the one it leads to must pass checkName, and the latter checkWay. kUnsupported for what is
// no block device or holds nothing (a loop device without a file, a drive without a medium), kNotFound where nothing is
// there. Reads only.
Result<BlockDevice> findBlockDevice(const std::string& given);

}  // namespace tarnctl
