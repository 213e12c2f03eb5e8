#include "host/freeze/held_directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace tarnctl {
namespace {

class HeldDirectoryTest : public testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = "/tmp/tarnfi-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    static ExitCode codeOf(const std::string& path) {
        const auto held = HeldDirectory::open(path);
        return held ? ExitCode::kDone : held.failure().code;
    }
    std::string folder_;
};

TEST_F(HeldDirectoryTest, RefusesWhatIsNotThere) {
    EXPECT_EQ(codeOf(folder_ + "/none"), ExitCode::kNotFound);
}

TEST_F(HeldDirectoryTest, RefusesRelativeAndEmptyPaths) {
    EXPECT_EQ(codeOf("tmp"), ExitCode::kUsage);
    EXPECT_EQ(codeOf(""), ExitCode::kUsage);
}

TEST_F(HeldDirectoryTest, RefusesADirectoryThatIsNoMountPoint) {
    const auto held = HeldDirectory::open(folder_);
    ASSERT_FALSE(held);
    EXPECT_EQ(held.failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(held.failure().cause, "not a mount point");
    EXPECT_EQ(held.failure().subject, folder_);
}

TEST_F(HeldDirectoryTest, RefusesALinkAlsoWithATrailingSlash) {
    const std::string link = folder_ + "/link";
    std::filesystem::create_directory_symlink("/", link);
    EXPECT_EQ(codeOf(link), ExitCode::kUnsupported);
    EXPECT_EQ(codeOf(link + "//"), ExitCode::kUnsupported);
}

TEST_F(HeldDirectoryTest, HoldsAMountPointAndDropsTrailingSlashes) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root: only the owner may open without touching the access time";
    }
    const auto held = HeldDirectory::open("/proc//");
    ASSERT_TRUE(held) << held.failure().cause;
    EXPECT_EQ(held->path(), "/proc");
    EXPECT_GE(held->fd(), 0);
    EXPECT_NE(fcntl(held->fd(), F_GETFL) & O_NOATIME, 0) << "reading the directory would write to what is frozen";
}

}  // namespace
}  // namespace tarnctl
