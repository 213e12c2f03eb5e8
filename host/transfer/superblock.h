// What is in a device, before somebody mounts it patiently and in vain.
#pragma once

#include <string>

#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

// The one file system that the device's superblocks tell of. kUnsupported for none or several. Reads only.
Result<Superblock> superblockOn(const std::string& device);

// Refuses (kUnsupported) what is not the expected file system: another type (ext2, ext3 and ext4 are one, which is
// mounted by any of the names) or another identity, where that was recorded.
Status refuseOther(const Superblock& expected, const Superblock& found, const std::string& subject);

}  // namespace tarnctl
