// One SCSI disk of the host as the discovery knows it.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// host:channel:target:lun, the kernel's name of a SCSI device. Ordered by its numbers.
struct CScsiAddress {
    std::uint32_t host = 0;
    std::uint32_t channel = 0;
    std::uint32_t target = 0;
    std::uint64_t lun = 0;

    auto operator<=>(const CScsiAddress&) const = default;
    std::string text() const;
    // Nothing unless the whole text is an address.
    static std::optional<CScsiAddress> parse(std::string_view text);
};

// Whether the kernel's "type" attribute of a SCSI device is that of a disk: direct access, reduced block commands or
// host-managed zones. Absent is none.
bool isDiskType(const std::optional<std::string>& type);

// Owned by the discovery that listed it and valid as long as that discovery; refreshed by UpdateDevice. Texts are empty
// and numbers 0 where the device or the kernel did not say.
class CScsiDeviceData {
  public:
    CScsiAddress address;
    std::string name;  // of the device node, "/dev/sdb"
    std::string vendor;
    std::string model;
    std::string revision;
    std::string state;  // the kernel's word: "running", "offline", "transport-offline", …
    std::string wwid;   // with its kind in front: "naa.", "eui.", "t10." or the name string of the device
    std::uint64_t blockCount = 0;
    std::uint32_t blockSize = 0;  // bytes
    // The device itself, or the kernel, said that there is nothing behind this address any more.
    bool isGone = false;
    // Why the device could not be asked and the record holds only what the kernel knows; empty when it answered.
    std::string unanswered;
};
