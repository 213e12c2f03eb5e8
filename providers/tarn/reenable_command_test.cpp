#include "reenable_command.h"

#include <gtest/gtest.h>

#include "trace_capture.h"

namespace {

CFiSmartPtr<CTARNPrivData> dataOf(const char* type, const char* version, const char* options) {
    const auto data = makeCounted<CTARNPrivData>(nullptr, false);
    data->fsType = type;
    data->fsVersion = version;
    data->mntOpts = options;
    return data;
}

std::string commandFor(const char* type, const char* version, const char* options) {
    return reenableCommand(*dataOf(type, version, options), "dev", "/mnt/x");
}

TEST(ReenableCommand, DropsTheWordRemount) {
    EXPECT_EQ(optionsWithoutRemount("rw,remount,hard"), " rw,hard");
    EXPECT_EQ(optionsWithoutRemount("remount,rw"), " rw");
    EXPECT_EQ(optionsWithoutRemount("remounted,errors=remount-ro"), " remounted,errors=remount-ro");
    EXPECT_EQ(optionsWithoutRemount("rw"), " rw");
    EXPECT_EQ(optionsWithoutRemount(""), " ");
}

TEST(ReenableCommand, ATrailingRemountLeavesItsComma) {
    EXPECT_EQ(optionsWithoutRemount("rw,hard,remount"), " rw,hard,");
    EXPECT_EQ(optionsWithoutRemount("remount"), " ");
}

TEST(ReenableCommand, LocalTypesGetTheirOptionsUnchanged) {
    EXPECT_EQ(commandFor("ext3", "", "rw,remount,noatime"), "/bin/mount  -o rw,remount,noatime \"dev\" \"/mnt/x\"");
    EXPECT_EQ(commandFor("xfs", "", ""), "/bin/mount  \"dev\" \"/mnt/x\"");
}

TEST(ReenableCommand, NfsGetsItsVersion) {
    EXPECT_EQ(commandFor("nfs", "3", "rw,remount,hard"), "/bin/mount  -o  rw,hard,vers=3 \"dev\" \"/mnt/x\"");
    EXPECT_EQ(commandFor("nfs", "", "rw"), "/bin/mount  -o  rw,vers= \"dev\" \"/mnt/x\"");
    EXPECT_EQ(commandFor("nfs", "3", ""), "/bin/mount ,vers=3 \"dev\" \"/mnt/x\"");
    EXPECT_EQ(commandFor("nfs", "3", "remount"), "/bin/mount ,vers=3 \"dev\" \"/mnt/x\"");
}

TEST(ReenableCommand, NfsVersionFourIsAType) {
    EXPECT_EQ(commandFor("nfs4", "4", "rw,hard"), "/bin/mount  -t nfs4  -o  rw,hard \"dev\" \"/mnt/x\"");
    EXPECT_EQ(commandFor("nfs4", "4.1", "rw"), "/bin/mount  -o  rw,vers=4.1 \"dev\" \"/mnt/x\"");
}

TEST(ReenableCommand, TracesTheDecisionsForNfs) {
    const TraceCapture trace;
    commandFor("nfs", "3", "rw,remount,hard");
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"3 CTARNPlugin::enableAccess - nfs version 3", "3 mnt_opts [rw,remount,hard]",
                                        "3 new mnt_opts [ rw,hard]", "3 Setting mount options - mnt_opts [ rw,hard]"}));
}

}  // namespace
