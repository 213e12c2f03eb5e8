// The name of a logical unit out of its device identification page (VPD page 0x83).
#pragma once

#include <cstdint>
#include <span>
#include <string>

// The best designator of the logical unit itself: NAA, then EUI-64, then the SCSI name string, then T10 vendor id;
// among equals the longest. Written as the kernel writes it: "naa." or "eui." and hexadecimal digits, "t10." and the
// text, the name string as it is. Empty where the page names no unit or is malformed; bytes beyond it are not read.
std::string wwidFromIdentificationPage(std::span<const std::uint8_t> page);
