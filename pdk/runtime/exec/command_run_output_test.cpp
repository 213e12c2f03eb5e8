#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <string>
#include <vector>

#include "command_run_testing.h"
#include "output_capture.h"

namespace znfi_runtime {
namespace {

using Lines = std::vector<std::string>;

// Highest resident size of this process so far, in KiB.
long peakKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

void forgetPeak() {
    std::ofstream("/proc/self/clear_refs") << 5 << std::flush;
}

TEST(CommandOutput, SilentCommandLeavesTheVectorAsItWas) {
    Lines lines{"kept"};
    EXPECT_EQ(runCommand("/bin/true", 60, lines).code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(lines, Lines{"kept"});
}

TEST(CommandOutput, LinesAreAppendedInTheirOrder) {
    Lines lines{"kept"};
    EXPECT_EQ(runCommand("/usr/bin/seq 3", 60, lines).code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(lines, (Lines{"kept", "1", "2", "3"}));
}

TEST(CommandOutput, StandardErrorIsMergedInTheOrderWritten) {
    EXPECT_EQ(run("/bin/sh -c \"echo a; echo b >&2; echo c\"").lines, (Lines{"a", "b", "c"}));
}

TEST(CommandOutput, OutputOfAFailedCommandIsKept) {
    const Ran ran = run("/bin/sh -c \"echo why; exit 3\"");
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_CMD_FAILED);
    EXPECT_EQ(ran.lines, Lines{"why"});
}

TEST(CommandOutput, LastLineNeedsNoLineEnd) {
    EXPECT_EQ(run("/usr/bin/printf a\\nb").lines, (Lines{"a", "b"}));
}

TEST(CommandOutput, NulBytesAreKept) {
    EXPECT_EQ(run("/usr/bin/printf a\\0b\\n\\0").lines, (Lines{std::string("a\0b", 3), std::string(1, '\0')}));
}

TEST(CommandOutput, LineOfOneMegabyte) {
    const Ran ran = run("/bin/sh -c \"for i in 1 2; do head -c 1048576 /dev/zero | tr '\\0' x; echo; done\"");
    const std::string line(1048576, 'x');
    ASSERT_EQ(ran.lines.size(), 2U);
    EXPECT_TRUE(ran.lines[0] == line);
    EXPECT_TRUE(ran.lines[1] == line);
}

TEST(CommandOutput, ArrivingByteByByte) {
    EXPECT_EQ(run(actor("byte-by-byte")).lines, (Lines{"one", "two", "", "three"}));
}

TEST(CommandOutput, EightMebibytesAreKeptToTheLastByte) {
    const Ran ran = run("/usr/bin/head -c 8388608 /dev/zero");
    ASSERT_EQ(ran.lines.size(), 1U);
    EXPECT_TRUE(ran.lines[0] == std::string(8388608, '\0'));
    EXPECT_EQ(run("/usr/bin/head -c 8388609 /dev/zero").lines.size(), 3U);
}

TEST(CommandOutput, HundredMegabytesInBoundedMemory) {
    forgetPeak();
    const long before = peakKib();
    const Ran ran = run("/usr/bin/seq 100000000 111500000");  // ten bytes a line, 115 MB
    const long grown = peakKib() - before;
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    ASSERT_GT(before, 0);
    EXPECT_LT(grown, 70 * 1024);  // 12 MiB of bytes and the lines made of them; three times that in a sanitized build
    const auto marker = std::find_if(ran.lines.begin(), ran.lines.end(),
                                     [](const std::string& line) { return line.starts_with("[... "); });
    ASSERT_NE(marker, ran.lines.end());
    EXPECT_EQ(ran.lines.front(), "100000000");
    EXPECT_EQ(ran.lines.back(), "111500000");
    const auto head = static_cast<std::size_t>(marker - ran.lines.begin());
    const auto tail = static_cast<std::size_t>(ran.lines.end() - marker - 1);
    EXPECT_GE(head * 10, OutputCapture::kHead);
    EXPECT_GE(tail * 10, OutputCapture::kTail);
    EXPECT_EQ(*(marker - 1), std::to_string(100000000 + head - 1));
    EXPECT_EQ(*(marker + 1), std::to_string(111500001 - tail));
}

}  // namespace
}  // namespace znfi_runtime
