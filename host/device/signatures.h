// What a block device says it holds.
#pragma once

#include <string>
#include <vector>

#include "host/device/block_device.h"
#include "host/report/failure.h"

namespace tarnctl {

struct Signature {
    std::string name;  // "xfs", "LVM2_member", "crypto_LUKS", "swap"; "gpt partition table"
    std::string uuid;  // empty where there is none
    bool isFileSystem = false;
};

// Every signature found, file systems, members of volumes, swap, encryption and partition tables alike; empty for a
// device that says nothing. kFailed when it cannot be read. Reads only.
Result<std::vector<Signature>> signaturesOn(const BlockDevice& device);

// "xfs, gpt partition table"
std::string namesOf(const std::vector<Signature>& signatures);

}  // namespace tarnctl
