#include "range_write.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "descriptor.h"

namespace loopfi {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBlock = 4096;
constexpr std::uint64_t kBlocks = 64;

class RangeWriteTest : public testing::Test {
  protected:
    RangeWriteTest() {
        std::string pattern = "/tmp/tarnfi-test-range-XXXXXX";
        directory_ = ::mkdtemp(pattern.data());
    }
    ~RangeWriteTest() override { fs::remove_all(directory_); }

    // A file whose blocks are holes, or data, as `random` has it.
    Descriptor file(const std::string& name, std::mt19937& random) {
        const std::string path = directory_ + "/" + name;
        fs::remove(path);  // emptying one makes some file systems wait for the disk
        Descriptor made(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        EXPECT_EQ(::ftruncate(made.get(), kBlock * kBlocks), 0);
        for (std::uint64_t block = 0; block < kBlocks; ++block) {
            if (random() % 3 != 0) {
                const std::string data(kBlock, static_cast<char>('a' + random() % 26));
                EXPECT_EQ(::pwrite(made.get(), data.data(), kBlock, static_cast<off_t>(block * kBlock)),
                          static_cast<ssize_t>(kBlock));
            }
        }
        return made;
    }
    std::string content(const std::string& name) const {
        std::ifstream in(directory_ + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    static std::int64_t blocksOf(const Descriptor& file) {
        struct stat status {};
        EXPECT_EQ(::fstat(file.get(), &status), 0);
        return status.st_blocks;
    }

    std::string directory_;
};

TEST_F(RangeWriteTest, MakesTheRangeEqualAndLeavesTheRest) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        const Descriptor from = file("from", random);
        const Descriptor to = file("to", random);
        const std::string before = content("to");
        const std::uint64_t offset = random() % (kBlock * kBlocks);
        const Extent range{offset, random() % (kBlock * kBlocks - offset) + 1};
        provideSpace(from.get(), to.get(), range, false, false);
        EXPECT_EQ(content("to"), before) << "providing space changed it, seed " << seed;
        copyRange(from.get(), to.get(), range);
        std::string expected = before;
        expected.replace(range.offset, range.length, content("from").substr(range.offset, range.length));
        EXPECT_TRUE(content("to") == expected) << "seed " << seed;
    }
}

TEST_F(RangeWriteTest, HolesBecomeHoles) {
    std::mt19937 random(7);
    const Descriptor from = file("from", random);
    const Descriptor to = file("to", random);
    const Extent all{0, kBlock * kBlocks};
    provideSpace(from.get(), to.get(), all, false, false);
    copyRange(from.get(), to.get(), all);
    EXPECT_EQ(totalLength(dataExtents(to.get())), totalLength(dataExtents(from.get())));
}

TEST_F(RangeWriteTest, ATrialOfTheSpaceAllocatesNothing) {
    std::mt19937 random(3);
    const Descriptor from = file("from", random);
    const Descriptor to = file("to", random);
    const std::int64_t before = blocksOf(to);
    provideSpace(from.get(), to.get(), {0, kBlock * kBlocks}, false, true);
    EXPECT_EQ(blocksOf(to), before);
}

TEST_F(RangeWriteTest, RehearsingLeavesNothing) {
    std::mt19937 random(4);
    const Descriptor from = file("from", random);
    const Descriptor directory(::open(directory_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    rehearseWrite(from.get(), directory.get(), {0, kBlock * kBlocks});
    EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 1);
}

}  // namespace
}  // namespace loopfi
