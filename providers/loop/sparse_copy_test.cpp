#include "sparse_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <system_error>

#include "descriptor.h"

namespace loopfi {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr auto kNever = Clock::time_point::max();

// An open file without a name in `directory`.
Descriptor nameless(const char* directory) {
    return Descriptor(::open(directory, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
}

void put(int fd, std::uint64_t offset, const std::string& text) {
    ASSERT_EQ(::pwrite(fd, text.data(), text.size(), static_cast<off_t>(offset)), static_cast<ssize_t>(text.size()));
}

std::string get(int fd, std::uint64_t offset, std::size_t length) {
    std::string text(length, '\0');
    const ssize_t got = ::pread(fd, text.data(), length, static_cast<off_t>(offset));
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

TEST(DataExtents, LeaveHolesOut) {
    const Descriptor file = nameless("/tmp");
    ASSERT_TRUE(file);
    put(file.get(), 4 * kMiB, std::string(kMiB, 'a'));
    put(file.get(), 9 * kMiB, "end");
    ASSERT_EQ(::ftruncate(file.get(), static_cast<off_t>(20 * kMiB)), 0);
    const auto extents = dataExtents(file.get());
    ASSERT_EQ(extents.size(), 2U);
    EXPECT_EQ(extents[0].offset, 4 * kMiB);
    EXPECT_EQ(extents[0].length, kMiB);
    EXPECT_EQ(extents[1].offset, 9 * kMiB);
    EXPECT_LE(totalLength(extents), kMiB + 65536);
}

TEST(DataExtents, AreNoneInAnEmptyOrHollowFile) {
    const Descriptor file = nameless("/tmp");
    ASSERT_TRUE(file);
    EXPECT_TRUE(dataExtents(file.get()).empty());
    ASSERT_EQ(::ftruncate(file.get(), static_cast<off_t>(kMiB)), 0);
    EXPECT_TRUE(dataExtents(file.get()).empty());
}

TEST(SpreadSample, TakesAllOfLittleData) {
    const auto sample = spreadSample({{0, 10}, {50, 20}}, 4, 8);
    ASSERT_EQ(sample.size(), 2U);
    EXPECT_EQ(totalLength(sample), 30U);
}

TEST(SpreadSample, SpreadsOverTheDataNotOverTheHoles) {
    const auto sample = spreadSample({{1000, 400}, {9000, 400}}, 4, 10);
    ASSERT_EQ(sample.size(), 4U);
    EXPECT_EQ(sample[0].offset, 1000U);
    EXPECT_EQ(sample[1].offset, 1200U);
    EXPECT_EQ(sample[2].offset, 9000U);
    EXPECT_EQ(sample[3].offset, 9200U);
    EXPECT_EQ(totalLength(sample), 40U);
}

TEST(SpreadSample, StaysInsideTheExtents) {
    const auto sample = spreadSample({{0, 7}, {100, 1000}}, 3, 50);
    for (const Extent& piece : sample) {
        EXPECT_TRUE(piece.offset + piece.length <= 7 || (piece.offset >= 100 && piece.offset + piece.length <= 1100));
    }
    EXPECT_EQ(sample.size(), 3U);
}

// Between two file systems the kernel's own copying is refused or not, by version: the bytes must be right both ways.
TEST(CopyExtent, CopiesTheBytesWithinAndBetweenFileSystems) {
    std::string data(3 * kMiB + 17, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>((i * 2654435761U) >> 13);
    }
    for (const char* target : {"/tmp", "/dev/shm"}) {
        const Descriptor from = nameless("/tmp");
        const Descriptor to = nameless(target);
        ASSERT_TRUE(from && to) << target;
        put(from.get(), 5000, data);
        copyExtent(from.get(), to.get(), {5000, data.size()}, kNever);
        EXPECT_TRUE(get(to.get(), 5000, data.size() + 1) == data) << target;
        EXPECT_EQ(get(to.get(), 0, 5000), std::string(5000, '\0')) << target;
    }
}

TEST(CopyExtent, EndsWithTheFile) {
    const Descriptor from = nameless("/tmp");
    const Descriptor to = nameless("/tmp");
    put(from.get(), 0, "short");
    copyExtent(from.get(), to.get(), {0, kMiB}, kNever);
    EXPECT_EQ(get(to.get(), 0, 100), "short");
}

TEST(CopyExtent, FailsWhenTheDeadlineHasPassed) {
    const Descriptor from = nameless("/tmp");
    const Descriptor to = nameless("/tmp");
    put(from.get(), 0, "data");
    try {
        copyExtent(from.get(), to.get(), {0, 4}, Clock::now() - std::chrono::milliseconds(1));
        FAIL() << "copied after the deadline";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ETIMEDOUT);
    }
    EXPECT_EQ(get(to.get(), 0, 4), "");
}

TEST(CopyExtent, ReportsATargetThatCannotBeWritten) {
    const Descriptor from = nameless("/tmp");
    const Descriptor to(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    put(from.get(), 0, "data");
    EXPECT_THROW(copyExtent(from.get(), to.get(), {0, 4}, kNever), std::system_error);
}

}  // namespace
}  // namespace loopfi
