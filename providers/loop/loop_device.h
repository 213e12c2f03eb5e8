// What a loop device is attached to. Read-only: nothing here changes a device.
// Thread: any; no state. Errors: a device that is not usable is an answer (`reason`), not an exception.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "file_identity.h"

namespace loopfi {

// Which part of a file a loop device shows, and how.
struct LoopGeometry {
    std::uint64_t offset = 0;       // bytes
    std::uint64_t sizeLimit = 0;    // bytes; 0: to the end of the file
    std::uint32_t blockSize = 512;  // logical block size, bytes

    bool operator==(const LoopGeometry&) const = default;
};

struct LoopStatus : LoopGeometry {
    std::string device;       // "/dev/loop3": the kernel's name, also when a link to it was asked for
    dev_t number = 0;         // its device number
    std::string backingFile;  // absolute path as the kernel knows it
    FileIdentity backing;     // the file behind it
    bool isReadOnly = false;
    bool isAutoclear = false;
};

struct LoopInspection {
    std::optional<LoopStatus> status;  // set: a whole loop device over a regular file that lies where its name says
    std::string reason;                // else: why not, one sentence part
};

// Looks at `path`: is it a whole loop device (no partition of one), attached to a regular file that still has its name
// (not deleted, not replaced, reachable from here)?
LoopInspection inspectLoop(const std::string& path);

// The identity of the file that the open loop device `fd` is attached to, nothing when it is attached to none.
std::optional<FileIdentity> attachedTo(int fd);

// The text that the open loop device `fd` was attached with, see attachFile. Empty for a device that is not attached.
std::string referenceOf(int fd);

// The loop devices that are attached to `file`, whose last known name ends in `name` (it may be deleted by now).
std::vector<std::string> devicesOver(const FileIdentity& file, const std::string& name);

}  // namespace loopfi
