// Who uses a block device, as far as this process can see. Reads only; any thread. Errors: std::system_error.
#pragma once

#include <sys/types.h>

#include <string>

namespace loopfi {

struct DeviceUsers {
    std::string mountedAt;   // the first mount point, raw as in the mount table; empty: not mounted here
    bool isWritten = false;  // mounted with its file system writable
    std::string above;       // a device that stands on it: "dm-0"; empty: none
};

DeviceUsers usersOf(dev_t device);

}  // namespace loopfi
