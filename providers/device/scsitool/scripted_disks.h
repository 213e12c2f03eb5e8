// Test support: plain files that answer SCSI commands. The test program's own ioctl stands before the system's, so that
// the command library builds its requests and reads the answers as with a real device.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct ScriptedDisk {
    struct Sense {
        std::uint8_t key;
        std::uint8_t code;
        std::uint8_t qualifier;
    };

    std::uint8_t peripheral = 0;  // first byte of the inquiry data: qualifier and type
    std::string product = "MAKER   VIRTUAL-DISK    0430";
    std::uint64_t blocks = 4194304;
    std::uint32_t blockSize = 512;
    std::vector<std::uint8_t> designators;  // of page 0x83; without any the page is refused
    std::optional<Sense> inquirySense;
    std::optional<Sense> capacitySense;
    bool knowsLongCapacity = true;
    int unitAttentions = 0;  // how many commands are first answered so
    int systemError = 0;     // errno of the ioctl
    std::uint16_t hostStatus = 0;
    std::uint8_t deviceStatus = 0;       // of every command, without sense data
    std::optional<Sense> senseWithData;  // beside what is delivered
    bool hasReadableSense = true;
    std::vector<std::uint8_t> asked;  // operation codes, in order
};

// The disk that answers for this file from now on. The reference stays valid until forgetDisks.
ScriptedDisk& scriptDisk(const std::string& node);
void forgetDisks();
