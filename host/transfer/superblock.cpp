#include "host/transfer/superblock.h"

#include <algorithm>

#include "host/device/signatures.h"

namespace tarnctl {
namespace {

std::string familyOf(const std::string& type) {
    return type == "ext2" || type == "ext3" || type == "ext4" ? "ext" : type;
}

Failure refusal(const std::string& subject, std::string cause) {
    return Failure{ExitCode::kUnsupported, "check the snapshot's device", subject, std::move(cause)};
}

}  // namespace

Result<Superblock> superblockOn(const std::string& device) {
    auto found = signaturesOn({device, 0, 0, false});
    if (!found) {
        return found.failure();
    }
    // The boot sector of a file system may look like a partition table.
    std::erase_if(*found, [](const Signature& one) { return one.name.ends_with(" partition table"); });
    if (found->size() != 1) {
        return refusal(device, found->empty() ? "it holds no file system" : "it holds " + namesOf(*found));
    }
    return Superblock{found->front().name, found->front().uuid};
}

Status refuseOther(const Superblock& expected, const Superblock& found, const std::string& subject) {
    if (!expected.type.empty() && familyOf(expected.type) != familyOf(found.type)) {
        return refusal(subject, "it holds " + found.type + ", the snapshot is " + expected.type);
    }
    if (!expected.uuid.empty() && expected.uuid != found.uuid) {
        return refusal(subject, "it holds the file system " + found.uuid + ", the snapshot is of " + expected.uuid);
    }
    return Done{};
}

}  // namespace tarnctl
