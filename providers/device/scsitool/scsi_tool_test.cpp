#include "scsi_tool.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "modelled_host.h"
#include "scripted_disks.h"

namespace {

constexpr std::uint16_t kNoConnect = 0x01;

// The record of sdb at 3:0:0:1, of which the kernel knows 4194304 sectors.
class ScsiToolTest : public testing::Test {
  protected:
    ScsiToolTest() {
        device_.address = *CScsiAddress::parse("3:0:0:1");
        device_.name = "/dev/sdb";
    }
    ~ScsiToolTest() override { forgetDisks(); }

    ModelledHost host_{"stale_lun"};
    CScsiTool tool_{host_.sysfs(), host_.devices()};
    ScriptedDisk& disk_ = scriptDisk(host_.node("sdb"));
    CScsiDeviceData device_;
};

TEST_F(ScsiToolTest, WhatTheDeviceSaysGoesBeforeWhatTheKernelKnows) {
    disk_.product = "OTHER   NEW-MODEL       0500";
    disk_.blocks = 8388608;
    disk_.blockSize = 4096;
    disk_.designators = {1, 3, 0, 8, 0x50, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.vendor, "OTHER");
    EXPECT_EQ(device_.model, "NEW-MODEL");
    EXPECT_EQ(device_.revision, "0500");
    EXPECT_EQ(device_.state, "running");
    EXPECT_EQ(device_.blockCount, 8388608U);
    EXPECT_EQ(device_.blockSize, 4096U);
    EXPECT_EQ(device_.wwid, "naa.5001020304050607");
    EXPECT_EQ(device_.unanswered, "");
    EXPECT_EQ(disk_.asked, (std::vector<std::uint8_t>{0x12, 0x9E, 0x12}));
}

TEST_F(ScsiToolTest, WithoutIdentificationPageTheKernelsNameStays) {
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.wwid, "naa.60014051a2b3c4d5e6f708192a3b4c5d");
}

TEST_F(ScsiToolTest, AnOldDeviceIsAskedForItsShortCapacity) {
    disk_.knowsLongCapacity = false;
    disk_.blocks = 1000;
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.blockCount, 1000U);
    EXPECT_EQ(disk_.asked, (std::vector<std::uint8_t>{0x12, 0x9E, 0x25, 0x12}));
}

TEST_F(ScsiToolTest, UnitAttentionIsNoAnswer) {
    disk_.unitAttentions = 2;
    disk_.inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(disk_.asked, (std::vector<std::uint8_t>{0x12, 0x12, 0x12}));
}

TEST_F(ScsiToolTest, AUnitThatTheTargetDoesNotKnowIsGone) {
    disk_.inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
    EXPECT_TRUE(device_.isGone);
    EXPECT_EQ(disk_.asked.size(), 1U);
}

TEST_F(ScsiToolTest, AUnitThatIsGoneWhenItsCapacityIsAskedIsGone) {
    disk_.capacitySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
    EXPECT_TRUE(device_.isGone);
}

TEST_F(ScsiToolTest, AQualifierThatSaysThereIsNoDeviceIsGone) {
    for (const std::uint8_t peripheral : {std::uint8_t{0x20}, std::uint8_t{0x7F}}) {
        disk_.peripheral = peripheral;
        EXPECT_NE(tool_.UpdateDevice(&device_), 0);
        EXPECT_TRUE(device_.isGone);
    }
}

TEST_F(ScsiToolTest, ARecordComesBackWhenItsDeviceDoes) {
    disk_.peripheral = 0x7F;
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
    disk_.peripheral = 0;
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_FALSE(device_.isGone);
}

TEST_F(ScsiToolTest, ADeviceThatTheKernelDroppedIsGone) {
    host_.remove("class/scsi_device/3:0:0:1");
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
    EXPECT_TRUE(device_.isGone);
}

TEST_F(ScsiToolTest, AnAddressThatHasAnotherNameNowIsGone) {
    device_.name = "/dev/sdz";
    EXPECT_NE(tool_.UpdateDevice(&device_), 0);
}

TEST_F(ScsiToolTest, NothingThatIsNotAnAnswerCountsAsGone) {
    disk_.systemError = EPERM;
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.unanswered, "Operation not permitted");
    disk_.systemError = 0;
    disk_.hostStatus = kNoConnect;
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_NE(device_.unanswered, "");
    disk_.hostStatus = 0;
    disk_.capacitySense = ScriptedDisk::Sense{0x02, 0x04, 0x0B};  // standby path
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.unanswered, "");
    EXPECT_EQ(device_.blockCount, 4194304U);
}

TEST_F(ScsiToolTest, WithoutANodeTheKernelsRecordIsAll) {
    std::filesystem::remove(host_.node("sdb"));
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.unanswered, "No such file or directory");
    EXPECT_EQ(device_.vendor, "MAKER");
    EXPECT_EQ(device_.model, "VIRTUAL-DISK");
    EXPECT_EQ(device_.revision, "0430");
    EXPECT_EQ(device_.blockCount, 4194304U);
    EXPECT_EQ(device_.blockSize, 512U);
}

TEST_F(ScsiToolTest, TheNodeOfAnotherDeviceIsNotAsked) {
    host_.write("class/scsi_device/3:0:0:1/device/block/sdb/dev", "8:16\n");
    disk_.peripheral = 0x7F;
    EXPECT_EQ(tool_.UpdateDevice(&device_), 0);
    EXPECT_EQ(device_.unanswered, "the device node belongs to another device");
    EXPECT_TRUE(disk_.asked.empty());
}

TEST_F(ScsiToolTest, NoRecordIsAFailure) {
    EXPECT_NE(tool_.UpdateDevice(nullptr), 0);
}

}  // namespace
