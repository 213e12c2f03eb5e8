// Programs that tell the truth about file systems: blkid, tune2fs, xfs_info, e2fsck. Nothing here goes through the
// product.
#pragma once

#include <string>

namespace road {

struct Outcome {
    int exitStatus;  // -1 when it did not end by itself
    std::string output;
};

// Runs a shell command line; standard error is part of the output.
Outcome run(const std::string& commandLine);

// Runs it and fails the test when it does not succeed. Its output.
std::string mustRun(const std::string& commandLine);

// What a tool prints as "label: value" on a line of its own, or "" where it prints no such label.
std::string valueOf(const std::string& output, const std::string& label);

}  // namespace road
