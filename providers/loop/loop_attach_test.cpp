// Real loop devices; needs root.
#include "loop_attach.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <thread>

#include "backing_copy.h"
#include "loop_test_bed.h"

namespace loopfi {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

class LoopAttachTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::string missing = LoopTestBed::missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        bed_ = std::make_unique<LoopTestBed>();
        image_ = bed_->directory() + "/disk";
        LoopTestBed::makeImage(image_, 64 * kMiB, 20 * kMiB);
    }
    void TearDown() override {
        if (bed_) {
            const std::string directory = bed_->directory() + "/";
            bed_.reset();
            EXPECT_TRUE(LoopTestBed::devicesOver(directory).empty()) << "a loop device was left behind";
        }
    }

    Descriptor openImage() const { return Descriptor(::open(image_.c_str(), O_RDWR | O_CLOEXEC)); }
    FileIdentity imageIdentity() const {
        struct stat status {};
        EXPECT_EQ(::stat(image_.c_str(), &status), 0);
        return FileIdentity::of(status);
    }
    static bool isAttached(const std::string& device) {
        return fs::exists("/sys/block/" + device.substr(5) + "/loop/backing_file");
    }

    std::unique_ptr<LoopTestBed> bed_;
    std::string image_;
};

TEST_F(LoopAttachTest, InspectsAWholeDeviceOverARegularFile) {
    const std::string device = bed_->attach(image_, "-o 1048576 --sizelimit 8388608 -b 4096");
    const LoopInspection inspection = inspectLoop(device);
    ASSERT_TRUE(inspection.status) << inspection.reason;
    EXPECT_EQ(inspection.status->device, device);
    EXPECT_EQ(inspection.status->backingFile, image_);
    EXPECT_EQ(inspection.status->backing, imageIdentity());
    EXPECT_EQ(inspection.status->offset, kMiB);
    EXPECT_EQ(inspection.status->sizeLimit, 8 * kMiB);
    EXPECT_EQ(inspection.status->blockSize, 4096U);
    EXPECT_FALSE(inspection.status->isReadOnly);
    fs::create_symlink(device, bed_->directory() + "/link");
    ASSERT_TRUE(inspectLoop(bed_->directory() + "/link").status);
    EXPECT_EQ(inspectLoop(bed_->directory() + "/link").status->device, device);
}

TEST_F(LoopAttachTest, DoesNotClaimDeletedReplacedAndForeignThings) {
    const std::string device = bed_->attach(image_);
    const std::string over = bed_->attach(device);  // a loop device over a block device
    EXPECT_NE(inspectLoop(over).reason.find("not a regular file"), std::string::npos) << inspectLoop(over).reason;
    EXPECT_TRUE(LoopTestBed::run("losetup -d " + over));
    EXPECT_EQ(inspectLoop(over).reason, "it is not an attached loop device");
    fs::rename(image_, image_ + ".aside");
    EXPECT_TRUE(inspectLoop(device).status) << "a renamed file is still there";
    LoopTestBed::makeImage(image_, kMiB, 0);
    fs::remove(image_ + ".aside");
    EXPECT_FALSE(inspectLoop(device).status);
    // A living file that bears the very name that the kernel shows for the deleted one.
    LoopTestBed::makeImage(image_ + ".aside (deleted)", kMiB, 0);
    EXPECT_FALSE(inspectLoop(device).status);
}

TEST_F(LoopAttachTest, ClaimsAFileWhoseNameEndsLikeADeletedOnes) {
    const std::string odd = bed_->directory() + "/x (deleted)";
    LoopTestBed::makeImage(odd, kMiB, 0);
    const LoopInspection inspection = inspectLoop(bed_->attach(odd));
    ASSERT_TRUE(inspection.status) << inspection.reason;
    EXPECT_EQ(inspection.status->backingFile, odd);
}

TEST_F(LoopAttachTest, DoesNotClaimAPartition) {
    const std::string device = bed_->attach(image_, "-P");
    if (!LoopTestBed::run("addpart " + device + " 1 2048 4096")) {
        GTEST_SKIP() << "this kernel adds no partition to " << device;
    }
    const std::string partition = device + "p1";
    if (!fs::exists(partition)) {
        GTEST_SKIP() << "no node appears for " << partition;
    }
    EXPECT_EQ(inspectLoop(partition).reason, "it is a partition");
    EXPECT_TRUE(inspectLoop(device).status);
}

TEST_F(LoopAttachTest, AttachesLikeTheOriginWritableAndStaying) {
    const auto like = inspectLoop(bed_->attach(image_, "-r -o 1048576 --sizelimit 8388608 -b 4096")).status;
    ASSERT_TRUE(like);
    const std::string copy = image_ + "-copy";
    fs::copy_file(image_, copy);
    std::string device;
    {
        const Descriptor file(::open(copy.c_str(), O_RDWR | O_CLOEXEC));
        device = attachFile(file.get(), copy, *like);
    }
    const LoopInspection made = inspectLoop(device);
    ASSERT_TRUE(made.status) << made.reason;
    EXPECT_EQ(made.status->backingFile, copy);
    EXPECT_EQ(made.status->offset, like->offset);
    EXPECT_EQ(made.status->sizeLimit, like->sizeLimit);
    EXPECT_EQ(made.status->blockSize, like->blockSize);
    EXPECT_FALSE(made.status->isReadOnly);
    EXPECT_FALSE(made.status->isAutoclear);
    EXPECT_EQ(LoopTestBed::output("blockdev --getsize64 " + device), "8388608");
    EXPECT_TRUE(LoopTestBed::run("cmp " + like->device + " " + device));
}

TEST_F(LoopAttachTest, DetachesOnlyItsOwn) {
    const std::string device = bed_->attach(image_);
    EXPECT_EQ(detachFile(device, {1, 2}), Detached::kBefore);
    EXPECT_TRUE(isAttached(device));
    EXPECT_EQ(detachFile(device, imageIdentity()), Detached::kNow);
    EXPECT_FALSE(isAttached(device));
    EXPECT_EQ(detachFile(device, imageIdentity()), Detached::kBefore);
    EXPECT_EQ(detachFile("/dev/loop999999", imageIdentity()), Detached::kBefore);
    EXPECT_EQ(detachFile("/dev/null", imageIdentity()), Detached::kBefore);
}

TEST_F(LoopAttachTest, LeavesAMountedDeviceAsItIs) {
    ASSERT_TRUE(LoopTestBed::run("mkfs.ext4 -q " + image_));
    const std::string point = bed_->mountCloning();  // a mount namespace of our own
    const std::string device = bed_->attach(image_);
    const std::string other = bed_->directory() + "/mounted";
    fs::create_directory(other);
    ASSERT_TRUE(LoopTestBed::run("mount -o ro " + device + " " + other));
    try {
        detachFile(device, imageIdentity());
        ADD_FAILURE() << "detached a mounted device";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EBUSY);
    }
    EXPECT_TRUE(LoopTestBed::run("umount " + other));
    ASSERT_TRUE(inspectLoop(device).status) << "it went away with the mount";
    EXPECT_FALSE(inspectLoop(device).status->isAutoclear);
    EXPECT_EQ(detachFile(device, imageIdentity()), Detached::kNow);
}

TEST_F(LoopAttachTest, WaitsForABriefReaderAndGivesUpOnALastingOne) {
    const std::string device = bed_->attach(image_);
    {
        const Descriptor reader(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_THROW(detachFile(device, imageIdentity()), std::system_error);
    }
    ASSERT_TRUE(inspectLoop(device).status) << "it went away with the reader";
    EXPECT_FALSE(inspectLoop(device).status->isAutoclear);
    Descriptor reader(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
    std::thread leaves([&reader] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        reader.reset();
    });
    EXPECT_EQ(detachFile(device, imageIdentity()), Detached::kNow);
    leaves.join();
    EXPECT_FALSE(isAttached(device));
}

TEST_F(LoopAttachTest, SurvivesARaceForFreeDevices) {
    const auto like = inspectLoop(bed_->attach(image_)).status;
    ASSERT_TRUE(like);
    constexpr int kEach = 8;
    std::vector<std::string> devices[2];
    const auto attachMany = [&](std::vector<std::string>& mine) {
        for (int i = 0; i < kEach; ++i) {
            const Descriptor file = openImage();
            mine.push_back(attachFile(file.get(), image_, *like));
        }
    };
    std::thread other([&] { attachMany(devices[1]); });
    attachMany(devices[0]);
    other.join();
    for (const auto& mine : devices) {
        EXPECT_EQ(mine.size(), static_cast<std::size_t>(kEach));
        for (const std::string& device : mine) {
            EXPECT_EQ(detachFile(device, imageIdentity()), Detached::kNow) << device;
        }
    }
}

TEST_F(LoopAttachTest, ClonesWhereTheFileSystemCan) {
    const std::string point = bed_->mountCloning();
    const std::string origin = point + "/disk";
    LoopTestBed::makeImage(origin, 300 * kMiB, 150 * kMiB);
    const auto like = inspectLoop(bed_->attach(origin)).status;
    ASSERT_TRUE(like);
    BackingCopy copy = BackingCopy::reserve(like->backingFile, like->backing, "clone");
    const CopyForecast forecast = copy.rehearse();
    EXPECT_EQ(forecast.method, CopyMethod::kClone);
    EXPECT_EQ(fs::file_size(copy.path()), 0U);
    const auto start = Clock::now();
    copy.take(forecast.method, start + std::chrono::seconds(10));
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    RecordProperty("clone_ms", std::to_string(took.count()));
    const auto attachStart = Clock::now();
    const std::string device = attachFile(copy.fd(), copy.path(), *like);
    const std::chrono::duration<double, std::milli> attachTook = Clock::now() - attachStart;
    RecordProperty("attach_ms", std::to_string(attachTook.count()));
    EXPECT_TRUE(LoopTestBed::run("cmp " + origin + " " + device));
    // What is written to the origin afterwards does not reach the copy.
    std::fstream(origin, std::ios::in | std::ios::out | std::ios::binary) << "changed";
    EXPECT_FALSE(LoopTestBed::run("cmp -s " + origin + " " + copy.path()));
    EXPECT_EQ(detachFile(device, copy.identity()), Detached::kNow);
}

TEST_F(LoopAttachTest, RefusesACopyThatDoesNotFit) {
    const std::string point = bed_->directory() + "/cloning";
    fs::create_directory(point);
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
    ASSERT_TRUE(LoopTestBed::run("mount --make-rprivate / && mount -t tmpfs -o size=48m none " + point));
    const std::string origin = point + "/disk";
    LoopTestBed::makeImage(origin, 64 * kMiB, 30 * kMiB);
    const auto like = inspectLoop(bed_->attach(origin)).status;
    ASSERT_TRUE(like);
    BackingCopy copy = BackingCopy::reserve(like->backingFile, like->backing, "full");
    EXPECT_THROW(copy.rehearse(), std::runtime_error);
}

}  // namespace
}  // namespace loopfi
