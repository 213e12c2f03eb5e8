#include "loop_device.h"

#include <gtest/gtest.h>

namespace loopfi {
namespace {

TEST(InspectLoop, SaysWhyAnObjectIsNone) {
    const struct {
        const char* path;
        const char* reason;
    } cases[] = {
        {"/nonexistent-device", "it cannot be read: No such file or directory"},
        {"", "it cannot be read: No such file or directory"},
        {"/tmp", "it is not a block device"},
        {"/dev/null", "it is not a block device"},
        {"/proc/self/exe", "it is not a block device"},
    };
    for (const auto& one : cases) {
        const LoopInspection inspection = inspectLoop(one.path);
        EXPECT_FALSE(inspection.status.has_value()) << one.path;
        EXPECT_EQ(inspection.reason, one.reason) << one.path;
    }
}

TEST(SplitPath, CutsAtTheLastSlash) {
    EXPECT_EQ(splitPath("/a/b").directory, "/a");
    EXPECT_EQ(splitPath("/a/b").name, "b");
    EXPECT_EQ(splitPath("/b").directory, "/");
    EXPECT_EQ(splitPath("/b").name, "b");
    EXPECT_EQ(splitPath("b").directory, ".");
}

}  // namespace
}  // namespace loopfi
