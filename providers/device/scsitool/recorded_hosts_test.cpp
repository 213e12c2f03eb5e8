// The discovery on hosts recorded from a running kernel (trees/recorded): what it reads there without asking a disk,
// and what it makes of the answers that such disks give.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "linux_device_discovery.h"
#include "modelled_host.h"
#include "private_host.h"
#include "scripted_disks.h"

namespace {

using Names = std::vector<std::string>;

constexpr char kSecond[] = "0:0:0:2";
constexpr char kTenth[] = "0:0:0:10";
constexpr char kWwid[] = "naa.6001405af00000000000000000000000";  // of the unit that two paths lead to

class RecordedHosts : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the rescan lock and the multipath tools of this machine would be used: "
                         << enterPrivateHost();
        }
    }
    void TearDown() override { forgetDisks(); }

    static Names names(const std::vector<CScsiDeviceData*>& devices) {
        Names all;
        std::ranges::transform(devices, std::back_inserter(all), &CScsiDeviceData::name);
        return all;
    }
};

TEST_F(RecordedHosts, AnIscsiSessionIsScannedAndItsUnitsAreListedByNumber) {
    const ModelledHost host("recorded/iscsi");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    const auto devices = discovery.rescan(true, true, false);
    EXPECT_EQ(host.scanOf("host0"), "- - -");
    ASSERT_EQ(names(devices), (Names{"/dev/sda", "/dev/sdb"}));
    EXPECT_EQ(devices[0]->address.text(), kSecond);
    EXPECT_EQ(devices[1]->address.text(), kTenth);
    for (const CScsiDeviceData* device : devices) {
        EXPECT_EQ(device->vendor, "LIO-ORG");
        EXPECT_EQ(device->model, "FILEIO");
        EXPECT_EQ(device->state, "running");
        EXPECT_EQ(device->blockCount, 2097152U);
        EXPECT_EQ(device->blockSize, 512U);
        EXPECT_TRUE(device->wwid.starts_with("naa.6001405")) << device->wwid;
        EXPECT_EQ(host.deleteOf(device->address.text()), "");
    }
    EXPECT_NE(devices[0]->wwid, devices[1]->wwid);
}

TEST_F(RecordedHosts, FibreChannelPortsAreAllScannedAndBothPathsOfAUnitStay) {
    const ModelledHost host("recorded/fibre_channel");
    scriptDisk(host.node("sda")).blocks = 6291456;
    scriptDisk(host.node("sdb")).blocks = 6291456;
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    const auto devices = discovery.rescan(true, true, false);
    for (const char* port : {"host0", "host1", "host2", "host3"}) {
        EXPECT_EQ(host.scanOf(port), "- - -") << port;
    }
    ASSERT_EQ(names(devices), (Names{"/dev/sda", "/dev/sdb"}));
    EXPECT_NE(devices[0]->address.host, devices[1]->address.host);
    for (const CScsiDeviceData* device : devices) {
        EXPECT_EQ(device->wwid, kWwid);
        EXPECT_EQ(device->blockCount, 6291456U);
        EXPECT_EQ(device->unanswered, "");
        EXPECT_EQ(host.deleteOf(device->address.text()), "");
    }
    EXPECT_EQ(names(discovery.listDevicesByName("/dev/dm-0")), (Names{"/dev/sda", "/dev/sdb"}));
}

// The kernel's target tells the capacity on a path that stands by, too; others refuse to.
TEST_F(RecordedHosts, APathThatStandsByStays) {
    using Sense = std::optional<ScriptedDisk::Sense>;
    for (const Sense& refusal : {Sense(), Sense({0x02, 0x04, 0x0B})}) {
        const ModelledHost host("recorded/iscsi_ghost_path");
        ASSERT_EQ(host.read("class/scsi_device/0:0:0:2/device/access_state"), "active/optimized\n");
        ASSERT_EQ(host.read("class/scsi_device/1:0:0:2/device/access_state"), "standby\n");
        scriptDisk(host.node("sda")).blocks = 6291456;
        ScriptedDisk& standing = scriptDisk(host.node("sdb"));
        standing.blocks = 6291456;
        standing.capacitySense = refusal;
        CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
        const auto devices = discovery.rescan(true, true, false);
        ASSERT_EQ(names(devices), (Names{"/dev/sda", "/dev/sdb"}));
        for (const CScsiDeviceData* device : devices) {
            EXPECT_EQ(device->state, "running");
            EXPECT_EQ(device->wwid, kWwid);
            EXPECT_EQ(device->unanswered, "");
            EXPECT_EQ(host.deleteOf(device->address.text()), "");
        }
        EXPECT_EQ(devices[0]->blockCount, 6291456U);
        EXPECT_EQ(devices[1]->blockCount, refusal ? 2097152U : 6291456U) << "the kernel's record where it is refused";
        EXPECT_EQ(names(discovery.listDevicesByName("/dev/dm-0")), (Names{"/dev/sda", "/dev/sdb"}));
    }
}

// The kernel's record of a withdrawn unit is that of a good one: only its answer tells.
TEST_F(RecordedHosts, AWithdrawnUnitIsRemovedWhenItSaysSo) {
    const ModelledHost host("recorded/iscsi_stale_unit");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(discovery.rescan(true, true, false)), (Names{"/dev/sda", "/dev/sdb"}));
    EXPECT_EQ(host.deleteOf(kTenth), "");
    scriptDisk(host.node("sda"));
    scriptDisk(host.node("sdb")).inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    EXPECT_EQ(names(discovery.rescan(true, true, false)), Names{"/dev/sda"});
    EXPECT_EQ(host.deleteOf(kTenth), "1");
    EXPECT_EQ(host.deleteOf(kSecond), "");
}

TEST_F(RecordedHosts, APathThatIsDownStaysAndLeadsToTheSameUnit) {
    const ModelledHost host("recorded/iscsi_path_down");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    for (const CScsiDeviceData* device : discovery.listDevices()) {
        scriptDisk(host.devices() + device->name.substr(4)).hostStatus = device->address.host == 0 ? 0x00 : 0x01;
    }
    const auto devices = discovery.rescan(true, true, false);
    const auto up = std::ranges::find_if(devices, [](const auto* one) { return one->address.text() == kSecond; });
    const auto down = std::ranges::find(devices, "transport-offline", &CScsiDeviceData::state);
    ASSERT_NE(up, devices.end());
    ASSERT_NE(down, devices.end());
    EXPECT_EQ((*up)->state, "running");
    EXPECT_EQ((*up)->unanswered, "");
    EXPECT_NE((*down)->unanswered, "");
    EXPECT_NE((*down)->address.host, (*up)->address.host);
    EXPECT_EQ((*down)->wwid, (*up)->wwid);
    for (const CScsiDeviceData* device : devices) {
        EXPECT_EQ(host.deleteOf(device->address.text()), "") << device->name;
    }
}

TEST_F(RecordedHosts, ADiskTakenOfflineByHandStays) {
    const ModelledHost host("recorded/offline");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    scriptDisk(host.node("sda"));
    scriptDisk(host.node("sdb")).systemError = ENXIO;
    const auto devices = discovery.rescan(true, true, false);
    ASSERT_EQ(names(devices), (Names{"/dev/sda", "/dev/sdb"}));
    EXPECT_EQ(devices[0]->state, "running");
    EXPECT_EQ(devices[1]->state, "offline");
    EXPECT_NE(devices[1]->unanswered, "");
    EXPECT_EQ(host.deleteOf(devices[1]->address.text()), "");
}

}  // namespace
