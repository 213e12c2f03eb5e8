// The discovery on modelled hosts: what it lists, scans, asks and removes.
#include "linux_device_discovery.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "modelled_host.h"
#include "private_host.h"
#include "scripted_disks.h"
#include "trace_capture.h"

namespace {

using Names = std::vector<std::string>;

Names names(const std::vector<CScsiDeviceData*>& devices) {
    Names all;
    std::ranges::transform(devices, std::back_inserter(all), &CScsiDeviceData::name);
    return all;
}

// What rescan(true, true, false) writes when it gets through, for these disks.
Names wholeRescan(const Names& disks, const std::string& removed = "") {
    Names lines = {"6|Entering Function rescan [N, device_discovery_base]",
                   "3|libscsitool: Info: CDeviceDiscoveryBase::rescan().", "3|Acquring lock .", "3|Got the lock ."};
    for (const std::string& disk : disks) {
        lines.push_back("6|libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk " + disk + ".");
        if (disk == removed) {
            lines.push_back("3|libscsitool: Info: CDeviceDiscoveryBase::rescan FAILED - Remove disk " + disk + ".");
        }
    }
    lines.insert(lines.end(), {"3|Releasing the lock .", "3|libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.",
                               "6|Exiting Function rescan [N, device_discovery_base]"});
    return lines;
}

class LinuxDiscovery : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the rescan lock and the multipath tools of this machine would be used: "
                         << enterPrivateHost();
        }
    }
    void TearDown() override { forgetDisks(); }

    // The road of an import: both logs, then one rescan.
    std::vector<CScsiDeviceData*> rescan(CLinuxDeviceDiscovery& discovery) {
        discovery.registerTraceLog(trace_.log());
        discovery.discoveryManager().registerTraceLog(trace_.log());
        return discovery.rescan(true, true, false);
    }

    TraceCapture trace_;
};

TEST_F(LinuxDiscovery, WithoutTheHostOptionOnlyHostsInUseAreScanned) {
    const ModelledHost host("recorded/fibre_channel");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(discovery.rescanHostBuses(false), 0);
    EXPECT_EQ(host.scanOf("host0"), "");
    EXPECT_EQ(host.scanOf("host1"), "- - -");
    EXPECT_EQ(host.scanOf("host2"), "");
    EXPECT_EQ(host.scanOf("host3"), "- - -");
}

TEST_F(LinuxDiscovery, AHostThatCannotBeScannedDoesNotKeepTheOthersFromIt) {
    const ModelledHost host("recorded/fibre_channel");
    std::filesystem::remove(host.sysfs() + "/class/scsi_host/host1/scan");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    discovery.registerTraceLog(trace_.log());
    EXPECT_NE(discovery.rescanHostBuses(true), 0);
    EXPECT_EQ(host.scanOf("host3"), "- - -");
    EXPECT_EQ(trace_.details(), Names{"7|libscsitool: host1 could not be scanned: No such file or directory"});
}

TEST_F(LinuxDiscovery, AMapStandsForTheDisksBelowIt) {
    const ModelledHost host("recorded/fibre_channel");
    // As udev names it, which the recorded guest has not.
    std::filesystem::create_directories(host.devices() + "/mapper");
    std::filesystem::create_symlink("../dm-0", host.devices() + "/mapper/mpatha");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(discovery.listDevicesByName("/dev/mapper/mpatha")), (Names{"/dev/sda", "/dev/sdb"}));
    EXPECT_EQ(names(discovery.listDevicesByName("/dev/sdb")), Names{"/dev/sdb"});
    EXPECT_EQ(names(discovery.listDevicesByName("sdb")), Names{"/dev/sdb"});
    EXPECT_EQ(names(discovery.listDevicesByName("/dev/sdq")), Names{});
    EXPECT_EQ(names(discovery.listDevicesByName("")), Names{});
}

TEST_F(LinuxDiscovery, IscsiDisksAreListedByNumberAndOtherUnitsAreNot) {
    const ModelledHost host("iscsi");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(rescan(discovery)), (Names{"/dev/sdb", "/dev/sdc"}));
    EXPECT_EQ(trace_.lines(), wholeRescan({"/dev/sdb", "/dev/sdc"}));
    EXPECT_EQ(names(discovery.listDevicesByName("/dev/disk/by-path/ip-192.0.2.7:3260-lun-10")), Names{"/dev/sdc"});
}

TEST_F(LinuxDiscovery, AVirtioGuestHasNothingToRescan) {
    const ModelledHost host("recorded/virtio");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(rescan(discovery)), Names{});
    EXPECT_EQ(trace_.lines(), wholeRescan({}));
}

TEST_F(LinuxDiscovery, TheTestDriversDiskIsNamedByItsPage) {
    const ModelledHost host("recorded/scsi_debug");
    ScriptedDisk& disk = scriptDisk(host.node("sda"));
    disk.product = "Linux   scsi_debug      0191";
    disk.designators = {1, 3, 0, 8, 0x33, 0x33, 0x33, 0x30, 0, 0, 0x07, 0xd0};
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    const auto devices = rescan(discovery);
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0]->vendor, "Linux");
    EXPECT_EQ(devices[0]->model, "scsi_debug");
    EXPECT_EQ(devices[0]->wwid, "naa.33333330000007d0");
}

TEST_F(LinuxDiscovery, AStaleUnitIsRemovedAndOnlyIt) {
    const ModelledHost host("stale_lun");
    scriptDisk(host.node("sdb"));
    scriptDisk(host.node("sdc")).inquirySense = ScriptedDisk::Sense{0x05, 0x25, 0x00};
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(rescan(discovery)), Names{"/dev/sdb"});
    EXPECT_EQ(trace_.lines(), wholeRescan({"/dev/sdb", "/dev/sdc"}, "/dev/sdc"));
    EXPECT_EQ(host.deleteOf("3:0:0:1"), "");
    EXPECT_EQ(host.deleteOf("3:0:0:2"), "1");
}

TEST_F(LinuxDiscovery, ValidatingAStaleUnitRemovesNothing) {
    const ModelledHost host("stale_lun");
    scriptDisk(host.node("sdc")).peripheral = 0x7F;
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    discovery.registerTraceLog(trace_.log());
    EXPECT_EQ(names(discovery.validateDevice("/dev/sdc")), Names{"/dev/sdc"});
    EXPECT_EQ(trace_.lines(),
              (Names{"6|Entering Function validateDevice [N, device_discovery_base]",
                     "3|libscsitool: Info: CDeviceDiscoveryBase:: validateDevice FAILED - Remove disk /dev/sdc.",
                     "6|Exiting Function validateDevice [N, device_discovery_base]"}));
    EXPECT_EQ(host.deleteOf("3:0:0:2"), "");
}

TEST_F(LinuxDiscovery, PathsThatAreDownOrStandingByStay) {
    const ModelledHost host("ghost_path");
    scriptDisk(host.node("sdb"));
    scriptDisk(host.node("sdc")).capacitySense = ScriptedDisk::Sense{0x02, 0x04, 0x0B};
    scriptDisk(host.node("sdd")).hostStatus = 0x01;
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(rescan(discovery)), (Names{"/dev/sdb", "/dev/sdc", "/dev/sdd"}));
    EXPECT_EQ(trace_.lines(), wholeRescan({"/dev/sdb", "/dev/sdc", "/dev/sdd"}));
    for (const char* address : {"3:0:0:1", "3:0:1:1", "4:0:0:1", "4:0:1:1"}) {
        EXPECT_EQ(host.deleteOf(address), "") << address;
    }
}

TEST_F(LinuxDiscovery, NothingIsRemovedWhereNoDeviceMayBeAsked) {
    const ModelledHost host("stale_lun");
    std::filesystem::remove(host.node("sdb"));
    scriptDisk(host.node("sdc")).systemError = EACCES;
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    EXPECT_EQ(names(rescan(discovery)), (Names{"/dev/sdb", "/dev/sdc"}));
    EXPECT_EQ(host.deleteOf("3:0:0:1"), "");
    EXPECT_EQ(host.deleteOf("3:0:0:2"), "");
}

TEST_F(LinuxDiscovery, ADeviceThatGotTheNameSinceIsNotRemoved) {
    const ModelledHost host("stale_lun");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    discovery.listDevices();
    // The kernel drops the second unit and gives its name to a third one.
    host.remove("class/scsi_device/3:0:0:2");
    host.write("class/scsi_device/3:0:0:3/device/delete", "");
    host.write("class/scsi_device/3:0:0:3/device/block/sdc/size", "2048\n");
    EXPECT_EQ(discovery.removeDevice("/dev/sdc"), 0);
    EXPECT_EQ(host.deleteOf("3:0:0:3"), "");
    EXPECT_NE(discovery.removeDevice("/dev/sdq"), 0);
}

TEST_F(LinuxDiscovery, RecordsAreKeptAndRefreshedInPlace) {
    const ModelledHost host("recorded/fibre_channel");
    CLinuxDeviceDiscovery discovery(host.sysfs(), host.devices());
    const auto first = discovery.listDevices();
    EXPECT_EQ(discovery.listDevices(), first);
    EXPECT_EQ(discovery.rescan(false, false, false), first);
}

}  // namespace
