// The content of file systems: what was written, and whether writing is possible.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace road {

// Puts files with known content below the point and writes them to the disk.
void fill(const std::string& point);
// Is what fill wrote there below the point, and nothing of it changed?
testing::AssertionResult isFilled(const std::string& point);

// Does a write below the point fail because it is read-only?
testing::AssertionResult isReadOnly(const std::string& point);
testing::AssertionResult isWritable(const std::string& point);

}  // namespace road
