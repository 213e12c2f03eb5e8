// What the loop devices of this machine show.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tarnctl {

struct LoopFile {
    std::string name;  // "/dev/loop3"
    dev_t number = 0;
    dev_t holder = 0;         // the file's file system
    std::uint64_t inode = 0;  // the file in it
    dev_t shownDevice = 0;    // where it shows a block device: that one, else 0

    bool isSameFileAs(const LoopFile& other) const { return holder == other.holder && inode == other.inode; }
};

// All loop devices that show something and tell what. Reads only; any thread.
std::vector<LoopFile> loopFiles(const std::string& sysfs = "/sys");

}  // namespace tarnctl
