#include "host/mounts/backing_chain.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>

#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

// A tree in the shape of sysfs. Its loop devices have names that no /dev holds, so that only their files tell.
class BackingChain : public testing::Test {
  protected:
    fs::path addBlock(const std::string& number, const std::string& folder) {
        const fs::path at = fs::path(folder_.at("sys/devices/block")) / folder;
        fs::create_directories(at);
        fs::create_directories(folder_.at("sys/dev/block"));
        fs::create_directory_symlink(at, folder_.at("sys/dev/block/" + number));
        std::ofstream(at / "dev") << number << "\n";
        return at;
    }
    void addLoop(const std::string& number, const std::string& name, const std::string& file) {
        const fs::path at = addBlock(number, name);
        fs::create_directories(at / "loop");
        std::ofstream(at / "loop/backing_file") << file << "\n";
    }
    void addSlave(const std::string& above, const std::string& below) {
        const fs::path slaves = fs::path(folder_.at("sys/devices/block")) / above / "slaves";
        fs::create_directories(slaves);
        fs::create_directory_symlink(fs::path(folder_.at("sys/devices/block")) / below,
                                     slaves / fs::path(below).filename());
    }
    std::string image(const std::string& name) {
        std::ofstream(folder_.at(name)) << "x";
        return folder_.at(name);
    }
    Result<std::vector<BackingFile>> chain(dev_t device) {
        const Result<MountTable> table = MountTable::read();
        EXPECT_TRUE(table);
        return backingChain(device, *table, folder_.at("sys"));
    }
    dev_t folderDevice() const {
        struct stat status {};
        EXPECT_EQ(stat(folder_.path().c_str(), &status), 0);
        return status.st_dev;
    }

    TemporaryFolder folder_;
};

TEST_F(BackingChain, aDiskAndNothingStandOnNoFile) {
    addBlock("8:1", "sda1");
    EXPECT_TRUE(chain(makedev(8, 1))->empty());
    EXPECT_TRUE(chain(makedev(8, 99))->empty());
    EXPECT_TRUE(chain(0)->empty());
}

TEST_F(BackingChain, tellsTheFileAndWhatHoldsIt) {
    addLoop("7:990", "tarnfi-test-loop990", image("disk image"));
    const auto found = chain(makedev(7, 990));
    ASSERT_TRUE(found) << found.failure().cause;
    ASSERT_EQ(found->size(), 1U);
    EXPECT_EQ(found->front().loopName, "tarnfi-test-loop990");
    EXPECT_EQ(found->front().file, folder_.at("disk image"));
    EXPECT_EQ(found->front().holder, folderDevice());
    EXPECT_FALSE(found->front().holderPoint.empty());
}

TEST_F(BackingChain, goesThroughMappedDevicesAndPartitions) {
    addLoop("7:990", "tarnfi-test-loop990", image("one"));
    addLoop("7:991", "tarnfi-test-loop991", image("two"));
    const fs::path partition = addBlock("259:7", "tarnfi-test-loop990/tarnfi-test-loop990p1");
    std::ofstream(partition / "partition") << "1\n";
    addBlock("253:0", "dm-0");
    addSlave("dm-0", "tarnfi-test-loop990/tarnfi-test-loop990p1");
    addSlave("dm-0", "tarnfi-test-loop991");
    addBlock("253:1", "dm-1");
    addSlave("dm-1", "dm-0");
    EXPECT_EQ(chain(makedev(253, 1))->size(), 2U);
}

TEST_F(BackingChain, aRingEnds) {
    addBlock("253:0", "dm-0");
    addBlock("253:1", "dm-1");
    addSlave("dm-0", "dm-1");
    addSlave("dm-1", "dm-0");
    EXPECT_TRUE(chain(makedev(253, 0))->empty());
}

TEST_F(BackingChain, anImageThatNobodyCanPlaceIsAFailure) {
    addLoop("7:990", "tarnfi-test-loop990", folder_.at("gone") + " (deleted)");
    const auto found = chain(makedev(7, 990));
    ASSERT_FALSE(found);
    EXPECT_EQ(found.failure().subject, "/dev/tarnfi-test-loop990");
}

}  // namespace
}  // namespace tarnctl
