#include "backing_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace loopfi {
namespace {

namespace fs = std::filesystem;

constexpr auto kNever = Clock::time_point::max();

FileIdentity identityOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return FileIdentity::of(status);
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class BackingCopyTest : public testing::Test {
  protected:
    BackingCopyTest() {
        std::string pattern = "/tmp/tarnfi-test-copy-XXXXXX";
        directory_ = ::mkdtemp(pattern.data());
        origin_ = directory_ + "/disk image";
        content_.resize(200000);
        for (std::size_t i = 0; i < content_.size(); ++i) {
            content_[i] = static_cast<char>((i * 2654435761U) >> 11);
        }
        std::ofstream(origin_, std::ios::binary) << content_;
        fs::resize_file(origin_, 4 << 20);
    }
    ~BackingCopyTest() override { fs::remove_all(directory_); }

    BackingCopy reserve(std::string_view id = "id-1") { return BackingCopy::reserve(origin_, identityOf(origin_), id); }
    std::string copyPath() const { return origin_ + ".tarnfi-id-1"; }

    std::string directory_;
    std::string origin_;
    std::string content_;
};

TEST_F(BackingCopyTest, IsReservedEmptyAndPrivateBesideTheOrigin) {
    const BackingCopy copy = reserve();
    EXPECT_EQ(copy.path(), copyPath());
    struct stat status {};
    ASSERT_EQ(::lstat(copyPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_EQ(FileIdentity::of(status), copy.identity());
}

TEST_F(BackingCopyTest, RefusesATakenName) {
    std::ofstream(copyPath()) << "somebody's";
    EXPECT_THROW(reserve(), std::system_error);
    EXPECT_EQ(contentOf(copyPath()), "somebody's");
}

TEST_F(BackingCopyTest, RefusesANameThatIsADanglingLink) {
    fs::create_symlink(directory_ + "/elsewhere", copyPath());
    EXPECT_THROW(reserve(), std::system_error);
    EXPECT_FALSE(fs::exists(directory_ + "/elsewhere"));
}

TEST_F(BackingCopyTest, RefusesAnOriginThatIsAnotherFileNow) {
    const FileIdentity before = identityOf(origin_);
    fs::rename(origin_, directory_ + "/old");
    std::ofstream(origin_) << "new";
    EXPECT_THROW(BackingCopy::reserve(origin_, before, "id-1"), std::runtime_error);
    EXPECT_FALSE(fs::exists(copyPath()));
}

TEST_F(BackingCopyTest, RefusesADirectoryReachedThroughALink) {
    fs::create_directory_symlink(directory_, directory_ + "-link");
    const std::string path = directory_ + "-link/disk image";
    EXPECT_THROW(BackingCopy::reserve(path, identityOf(path), "id-1"), std::system_error);
    fs::remove(directory_ + "-link");
}

TEST_F(BackingCopyTest, RefusesUnsafeIds) {
    for (const char* id : {"", "../x", "a/b", "a b", "a\n", "a.b"}) {
        EXPECT_THROW(reserve(id), std::runtime_error) << id;
    }
}

TEST_F(BackingCopyTest, RehearsingLeavesTheReservedFileEmpty) {
    BackingCopy copy = reserve();
    const CopyForecast forecast = copy.rehearse();
    EXPECT_GE(forecast.dataBytes, content_.size());
    EXPECT_LT(forecast.dataBytes, content_.size() + 65536) << "holes were counted";
    EXPECT_GT(forecast.expected.count(), 0);
    EXPECT_EQ(fs::file_size(copyPath()), 0U);
}

TEST_F(BackingCopyTest, TakesContentLengthHolesAndMode) {
    ASSERT_EQ(::chmod(origin_.c_str(), 0640), 0);
    {
        BackingCopy copy = reserve();
        copy.take(copy.rehearse().method, kNever);
        copy.keep();
    }
    EXPECT_TRUE(contentOf(copyPath()) == contentOf(origin_));
    struct stat status {};
    ASSERT_EQ(::lstat(copyPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_LT(status.st_blocks * 512, 1 << 20) << "the hole was filled";
}

TEST_F(BackingCopyTest, FailsAtTheDeadlineAndLeavesNothing) {
    {
        BackingCopy copy = reserve();
        EXPECT_THROW(copy.take(CopyMethod::kCopy, Clock::now() - std::chrono::milliseconds(1)), std::system_error);
    }
    EXPECT_FALSE(fs::exists(copyPath()));
}

TEST_F(BackingCopyTest, IsDeletedUnlessKept) {
    { const BackingCopy copy = reserve(); }
    EXPECT_FALSE(fs::exists(copyPath()));
    {
        BackingCopy first = reserve();
        const BackingCopy second = std::move(first);
        EXPECT_TRUE(fs::exists(copyPath()));
    }
    EXPECT_FALSE(fs::exists(copyPath()));
}

TEST_F(BackingCopyTest, DeletesNoFileThatTookItsName) {
    {
        const BackingCopy copy = reserve();
        fs::rename(copyPath(), directory_ + "/moved");
        std::ofstream(copyPath()) << "somebody's";
    }
    EXPECT_EQ(contentOf(copyPath()), "somebody's");
}

TEST_F(BackingCopyTest, IsFoundByItsRecordedIdentity) {
    BackingCopy copy = reserve();
    copy.keep();
    EXPECT_EQ(findCopy(copyPath(), copy.identity()), copy.identity());
    deleteCopy(copyPath(), identityOf(origin_));
    EXPECT_TRUE(fs::exists(copyPath())) << "another identity was deleted";
    deleteCopy(copyPath(), copy.identity());
    EXPECT_FALSE(fs::exists(copyPath()));
    EXPECT_EQ(findCopy(copyPath(), copy.identity()), std::nullopt);
    EXPECT_EQ(findCopy(directory_ + "/gone/x", copy.identity()), std::nullopt);
}

TEST_F(BackingCopyTest, IsFoundByItsMarkUnderItsOwnNameOnly) {
    FileIdentity identity;
    {
        BackingCopy copy = reserve();
        copy.take(copy.rehearse().method, kNever);
        copy.keep();
        identity = copy.identity();
    }
    char mark[64];
    if (::getxattr(copyPath().c_str(), "user.tarnfi.snapshot", mark, sizeof mark) < 0) {
        GTEST_SKIP() << "the file system of /tmp keeps no user attributes";
    }
    EXPECT_EQ(findCopy(copyPath(), {}), identity);
    fs::rename(copyPath(), copyPath() + "-kept");
    EXPECT_THROW(findCopy(copyPath() + "-kept", {}), std::runtime_error);
}

TEST_F(BackingCopyTest, AnUnmarkedFileIsOursOnlyWhileEmptyAndPrivate) {
    std::ofstream(copyPath()).close();
    ASSERT_EQ(::chmod(copyPath().c_str(), 0644), 0);
    EXPECT_THROW(findCopy(copyPath(), {}), std::runtime_error);
    ASSERT_EQ(::chmod(copyPath().c_str(), 0600), 0);
    EXPECT_TRUE(findCopy(copyPath(), {}));
    std::ofstream(copyPath()) << "somebody's";
    EXPECT_THROW(findCopy(copyPath(), {}), std::runtime_error);
    fs::remove(copyPath());
    fs::create_symlink(origin_, copyPath());
    EXPECT_THROW(findCopy(copyPath(), {}), std::system_error);
}

}  // namespace
}  // namespace loopfi
