// One command, and every way in which it may come back.
#include "scsi_command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "modelled_host.h"
#include "scripted_disks.h"

namespace {

using Kind = ScsiAnswer::Kind;

class ScsiCommand : public testing::Test {
  protected:
    ~ScsiCommand() override {
        close(descriptor_);
        forgetDisks();
    }

    ScsiAnswer inquire() { return sendScsiCommand(descriptor_, kInquiry, data_); }

    static constexpr std::array<std::uint8_t, 6> kInquiry{0x12, 0, 0, 0, 96, 0};
    const ModelledHost host_{"stale_lun"};
    ScriptedDisk& disk_ = scriptDisk(host_.node("sdb"));
    const int descriptor_ = open(host_.node("sdb").c_str(), O_RDONLY | O_CLOEXEC);
    std::array<std::uint8_t, 96> data_{};
};

TEST_F(ScsiCommand, WhatIsReceivedIsCounted) {
    data_.fill(0xEE);
    const ScsiAnswer answer = inquire();
    EXPECT_TRUE(answer.isGood());
    EXPECT_EQ(answer.received, 36U);
    EXPECT_EQ(data_[8], 'M');
    EXPECT_EQ(data_[36], 0);
}

TEST_F(ScsiCommand, ARecoveredErrorIsGoodAndBringsItsData) {
    disk_.senseWithData = ScriptedDisk::Sense{0x01, 0x17, 0x00};
    const ScsiAnswer answer = inquire();
    EXPECT_TRUE(answer.isGood());
    EXPECT_EQ(answer.received, 36U);
    EXPECT_EQ(data_[8], 'M');
}

TEST_F(ScsiCommand, SenseDataWithoutKeyIsGood) {
    disk_.senseWithData = ScriptedDisk::Sense{0x00, 0x00, 0x00};
    EXPECT_TRUE(inquire().isGood());
}

TEST_F(ScsiCommand, ARefusalSaysWhatTheDeviceSaid) {
    disk_.inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x01};
    const ScsiAnswer answer = inquire();
    EXPECT_EQ(answer.kind, Kind::kSense);
    EXPECT_TRUE(answer.saysThereIsNoUnit());
    EXPECT_EQ(answer.qualifier, 1);
    EXPECT_EQ(disk_.asked.size(), 1U);
}

TEST_F(ScsiCommand, SenseDataThatCannotBeReadIsNoAnswer) {
    disk_.inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    disk_.hasReadableSense = false;
    const ScsiAnswer answer = inquire();
    EXPECT_EQ(answer.kind, Kind::kNoAnswer);
    EXPECT_EQ(answer.why, "sense data that cannot be read");
}

TEST_F(ScsiCommand, AnotherStatusIsNoAnswer) {
    disk_.deviceStatus = 0x08;  // busy
    const ScsiAnswer answer = inquire();
    EXPECT_EQ(answer.kind, Kind::kNoAnswer);
    EXPECT_EQ(answer.why, "status 8");
    EXPECT_EQ(disk_.asked.size(), 1U);
}

TEST_F(ScsiCommand, ATransportThatFailsIsNoAnswer) {
    disk_.hostStatus = 0x03;
    const ScsiAnswer answer = inquire();
    EXPECT_EQ(answer.kind, Kind::kNoAnswer);
    EXPECT_EQ(answer.why, "transport error 3");
}

TEST_F(ScsiCommand, AnErrorOfTheSystemIsNamed) {
    disk_.systemError = EACCES;
    const ScsiAnswer answer = inquire();
    EXPECT_EQ(answer.kind, Kind::kNoAnswer);
    EXPECT_EQ(answer.why, "Permission denied");
}

TEST_F(ScsiCommand, AttentionThatStaysIsTheAnswerOfTheThirdTry) {
    disk_.unitAttentions = 5;
    const ScsiAnswer answer = inquire();
    EXPECT_TRUE(answer.isSense(0x06, 0x29));
    EXPECT_EQ(disk_.asked.size(), 3U);
}

TEST_F(ScsiCommand, NoCommandIsNotSent) {
    const ScsiAnswer answer = sendScsiCommand(descriptor_, {}, data_);
    EXPECT_EQ(answer.kind, Kind::kNoAnswer);
    EXPECT_EQ(answer.why, "the command could not be sent");
    EXPECT_TRUE(disk_.asked.empty());
}

}  // namespace
