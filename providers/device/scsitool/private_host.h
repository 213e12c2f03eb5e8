// Test support: keeps what the tests do away from the machine they run on.
#pragma once

#include <string>

// From the first call on this process and its children have System V semaphores and mounts of their own, and the device
// and multipath tools of the machine are hidden from them. Empty, or why that cannot be had.
const std::string& enterPrivateHost();

// Lays the files of a folder over /usr/sbin, for this process and its children only. Empty, or why that cannot be had.
std::string overlaySbin(const std::string& folder);
