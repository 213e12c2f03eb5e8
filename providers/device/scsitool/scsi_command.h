// Sends one SCSI command to a device and tells a refusal by the device from a command that never reached it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

struct ScsiAnswer {
    enum class Kind {
        kGood,      // carried out
        kSense,     // the device answered with sense data
        kNoAnswer,  // no device spoke: the system call, the transport or another status stood between
    };

    Kind kind = Kind::kNoAnswer;
    std::size_t received = 0;  // bytes of data
    std::uint8_t senseKey = 0;
    std::uint8_t additionalCode = 0;
    std::uint8_t qualifier = 0;
    std::string why;  // one phrase for kNoAnswer

    bool isGood() const { return kind == Kind::kGood; }
    bool isSense(std::uint8_t key, std::uint8_t code) const {
        return kind == Kind::kSense && senseKey == key && additionalCode == code;
    }
    // LOGICAL UNIT NOT SUPPORTED: the target says that there is no such unit (any more).
    bool saysThereIsNoUnit() const { return isSense(0x05, 0x25); }
};

// descriptor: of a device node open for reading. Blocks for up to 30 s a try; a UNIT ATTENTION is not an answer to the
// command, so it is sent again, three tries in all. data is zeroed first. Throws nothing but std::bad_alloc.
ScsiAnswer sendScsiCommand(int descriptor, std::span<const std::uint8_t> command, std::span<std::uint8_t> data);
