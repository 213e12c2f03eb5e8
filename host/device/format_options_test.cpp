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

TEST(MkfsOptions, NameNoSecondDeviceWithoutSlash) {
    for (const char* text : {"-l logdev=swapfile", "-b size=4096 -r rtdev=x", "-d file,name=x", "-J device=LABEL=x",
                             "-J size=4,device=x", "-j x", "-jx", "--journal-device x", "--jour x", "-z x", "-zx"}) {
        const auto refused = mkfsOptions({text});
        ASSERT_FALSE(refused) << text;
        EXPECT_EQ(refused.failure().code, ExitCode::kUsage);
        EXPECT_NE(refused.failure().cause.find("another device"), std::string::npos) << refused.failure().cause;
    }
    EXPECT_TRUE(mkfsOptions({"-j -J size=4"}));
    EXPECT_TRUE(mkfsOptions({"-L device", "-d su=4k,sw=2", "-j"}));
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

TEST(MountOptions, MountThisDeviceAndAllOfIt) {
    for (const char* text : {"loop", "ro,loop=x", "offset=512", "rw,sizelimit=9", "bind", "rbind", "move", "remount,ro",
                             "X-mount.subdir=a"}) {
        const auto refused = mountOptions(text);
        ASSERT_FALSE(refused) << text;
        EXPECT_EQ(refused.failure().code, ExitCode::kUsage);
    }
    EXPECT_TRUE(mountOptions("ro,noload,data=ordered,logbufs=8"));
}

TEST(OptionText, IsEscapedAndEmptyForNothing) {
    EXPECT_EQ(optionText("mkfsOptions", ""), "");
    EXPECT_EQ(optionText("mkfsOptions", "-L a<b&c>d"),
              "<FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">-L a&lt;b&amp;c&gt;d</OPTION></FORMAT_OPTIONS>");
}

}  // namespace
}  // namespace tarnctl
