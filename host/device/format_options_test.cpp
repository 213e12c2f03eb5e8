#include "host/device/format_options.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

TEST(MkfsOptions, AreJoinedInTheirOrder) {
    EXPECT_EQ(*mkfsOptions({"-b size=4096", "-L data"}), "-b size=4096 -L data");
    EXPECT_EQ(*mkfsOptions({}), "");
}

TEST(MkfsOptions, NeverNameAnotherDeviceOrFile) {
    for (const char* text : {"-l logdev=/dev/sdb1", "-d name=../../dev/sdb1", "-d /srv", "/dev/sdb1"}) {
        const auto refused = mkfsOptions({text});
        ASSERT_FALSE(refused) << text;
        EXPECT_EQ(refused.failure().code, ExitCode::kUsage);
    }
}

TEST(MkfsOptions, AreNoOperands) {
    EXPECT_FALSE(mkfsOptions({"sdb1"}));
    EXPECT_FALSE(mkfsOptions({"  sdb1"}));
    EXPECT_TRUE(mkfsOptions({" -q"}));
}

TEST(MkfsOptions, HoldNothingThatTheOptionTextOrTheCommandWouldLose) {
    for (const char* text : {"-L \"a b\"", "-L a\nb", "-L a\tb", "-L \xC3\xA4", "-L \x01"}) {
        EXPECT_FALSE(mkfsOptions({text})) << text;
    }
}

TEST(MountOptions, AreOneTextWithoutBlanks) {
    EXPECT_EQ(*mountOptions("rw,noatime"), "rw,noatime");
    EXPECT_EQ(*mountOptions(""), "");
    for (const char* text : {"rw noatime", "-o rw", "rw,\"x\"", "rw\n", "\xFF"}) {
        const auto refused = mountOptions(text);
        ASSERT_FALSE(refused) << text;
        EXPECT_EQ(refused.failure().code, ExitCode::kUsage);
    }
}

TEST(OptionText, IsEscapedAndEmptyForNothing) {
    EXPECT_EQ(optionText("mkfsOptions", ""), "");
    EXPECT_EQ(optionText("mkfsOptions", "-L a<b&c>d"),
              "<FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">-L a&lt;b&amp;c&gt;d</OPTION></FORMAT_OPTIONS>");
}

}  // namespace
}  // namespace tarnctl
