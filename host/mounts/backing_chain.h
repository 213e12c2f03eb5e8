// What a block device stands on, where that is a file: the loop devices below it and the file systems that hold their
// images. Freezing one of those freezes everything above it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

struct BackingFile {
    dev_t loop = 0;           // the loop device
    std::string loopName;     // "loop0"
    std::string file;         // its backing file as the kernel names it; " (deleted)" at its end when it was removed
    dev_t holder = 0;         // file system that holds the file, as stat says it
    std::string holderPoint;  // where that is mounted: the mount of the path, else the oldest one; empty when nowhere
};

// The backing files of all loop devices that `device` stands on, from the top down: through partitions, device-mapper
// and md devices, and on through the file system of each backing file. Empty for a disk and for a file system without
// a block device. `sysfs` is where sysfs is mounted. Fails (kFailed) where a loop device does not tell which file
// system holds its image. Reads only; any thread.
Result<std::vector<BackingFile>> backingChain(dev_t device, const MountTable& table, const std::string& sysfs = "/sys");

// The block device a mount stands on: its device, or where that number is anonymous (btrfs) the device named as source.
dev_t blockDeviceOf(const MountEntry& entry);

}  // namespace tarnctl
