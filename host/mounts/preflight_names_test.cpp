#include <gtest/gtest.h>

#include <string>

#include "host/mounts/preflight.h"

namespace tarnctl {
namespace {

TEST(PreflightNames, dropsSlashesAtTheEnd) {
    EXPECT_EQ(withoutTrailingSlashes("/data//"), "/data");
    EXPECT_EQ(withoutTrailingSlashes("/data"), "/data");
    EXPECT_EQ(withoutTrailingSlashes("//"), "/");
    EXPECT_EQ(withoutTrailingSlashes(""), "");
}

TEST(PreflightNames, refusesWhatACommandWouldSplit) {
    for (const char* name :
         {"/a b", "/a\tb", "/a\nb", "/a\rb", "/a\x01", "/a\x7f", "/a\"b", "/ ", "", "-f", "relative"}) {
        const Status status = checkName(NameKind::kMountPoint, name);
        ASSERT_FALSE(status) << testing::PrintToString(name);
        EXPECT_EQ(status.failure().code, ExitCode::kUnsupported);
        EXPECT_EQ(status.failure().subject, name);
        EXPECT_EQ(status.failure().operation, "check the mount point");
    }
    EXPECT_FALSE(checkName(NameKind::kAlternate, std::string_view("/a\0b", 4)));
}

TEST(PreflightNames, takesEverythingElse) {
    for (const char* name :
         {"/", "/#", "/a#b", "/größe", "/latin\xe9", "/back\\slash", "/it's", "/$HOME;*", "/-f", "/a//b"}) {
        EXPECT_TRUE(checkName(NameKind::kMountPoint, name)) << testing::PrintToString(name);
        EXPECT_TRUE(checkName(NameKind::kAlternate, name)) << testing::PrintToString(name);
    }
}

TEST(PreflightNames, devicesNeedNotBePaths) {
    EXPECT_TRUE(checkName(NameKind::kDevice, "files.example:/export/a=b"));
    EXPECT_TRUE(checkName(NameKind::kDevice, "/dev/mapper/vg0-data"));
    EXPECT_FALSE(checkName(NameKind::kDevice, "files.example:/my export"));
    EXPECT_FALSE(checkName(NameKind::kDevice, "-o"));
    EXPECT_FALSE(checkName(NameKind::kDevice, ""));
}

TEST(PreflightNames, refusesWhatTheSystemCouldNotOpen) {
    EXPECT_TRUE(checkName(NameKind::kAlternate, "/" + std::string(255, 'a')));
    EXPECT_FALSE(checkName(NameKind::kAlternate, "/" + std::string(256, 'a') + "/b"));
    EXPECT_FALSE(checkName(NameKind::kAlternate, "/b/" + std::string(4000, 'a')));
    std::string deep;
    while (deep.size() < 4080) {
        deep += "/" + std::string(29, 'd');
    }
    EXPECT_TRUE(checkName(NameKind::kMountPoint, deep)) << deep.size();
    const Status tooDeep = checkName(NameKind::kAlternate, deep + "/aaaaaaaaaaaaaaa");
    ASSERT_FALSE(tooDeep);
    EXPECT_NE(tooDeep.failure().cause.find("too long"), std::string::npos);
}

}  // namespace
}  // namespace tarnctl
