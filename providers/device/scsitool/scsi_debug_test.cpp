// The discovery on real disks, those of the kernel's SCSI test driver. Only where the machine is the test's own.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>

#include "linux_device_discovery.h"
#include "trace_capture.h"

namespace {

using Devices = std::vector<CScsiDeviceData*>;

constexpr char kDriver[] = "bus/pseudo/drivers/scsi_debug/";

int command(const std::string& line) {
    const int status = std::system(line.c_str());  // NOLINT(cert-env33-c): fixed words
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void await(const std::string& what, const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << what;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

class ScsiDebug : public testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("TARNFI_TEST_GUEST") == nullptr) {
            GTEST_SKIP() << "needs a machine of its own, whose SCSI buses may be scanned: ./dev vm";
        }
        if (command("modprobe -n -q scsi_debug") != 0) {
            GTEST_SKIP() << "this kernel has no scsi_debug";
        }
        discovery_.registerTraceLog(trace_.log());
        discovery_.discoveryManager().registerTraceLog(trace_.log());
    }
    void TearDown() override {
        if (isLoaded_) {
            await("the driver cannot be unloaded", [] { return command("rmmod scsi_debug") == 0; });
        }
    }

    // Disks of 16384 blocks, one host.
    void load(const std::string& options) {
        ASSERT_EQ(command("modprobe scsi_debug dev_size_mb=8 delay=0 " + options), 0);
        isLoaded_ = true;
        await("no first disk", [this] { return !ours(discovery_.listDevices()).empty(); });
    }
    void set(const std::string& attribute, const std::string& value) const {
        ASSERT_EQ(sysfs_.write(kDriver + attribute, value), 0) << attribute;
    }
    Devices ours(Devices devices) const {
        std::erase_if(devices,
                      [this](const CScsiDeviceData* device) { return attribute(*device, "model") != "scsi_debug"; });
        return devices;
    }
    std::string attribute(const CScsiDeviceData& device, const std::string& name) const {
        return sysfs_.read("class/scsi_device/" + device.address.text() + "/device/" + name).value_or("");
    }
    bool isThere(const CScsiDeviceData& device) const {
        return sysfs_.has("class/scsi_device/" + device.address.text()) && sysfs_.has("block/" + device.name.substr(5));
    }
    Devices rescan() { return discovery_.rescan(true, true, false); }
    bool wasTraced(const std::string& text) const {
        const auto contains = [&](const std::string& line) { return line.find(text) != line.npos; };
        return std::ranges::any_of(trace_.lines(), contains) || std::ranges::any_of(trace_.details(), contains);
    }

    SysfsTree sysfs_{"/sys"};
    CLinuxDeviceDiscovery discovery_;
    TraceCapture trace_;
    bool isLoaded_ = false;
};

TEST_F(ScsiDebug, ARescanFindsEveryNewDisk) {
    load("max_luns=1");
    const std::size_t others = discovery_.listDevices().size() - 1;
    for (const char* units : {"4", "8", "24"}) {
        set("max_luns", units);
        const Devices all = rescan();
        EXPECT_EQ(ours(all).size(), std::stoul(units));
        EXPECT_EQ(all.size(), std::stoul(units) + others) << "a disk of another host came or went";
        for (const CScsiDeviceData* device : ours(all)) {
            EXPECT_EQ(device->blockCount, 16384U) << device->name;
            EXPECT_EQ(device->unanswered, "") << device->name;
            EXPECT_TRUE(wasTraced("Getting data for disk " + device->name + ".")) << device->name;
        }
    }
}

TEST_F(ScsiDebug, ANewHostsDisksAreFound) {
    load("max_luns=2");
    await("no second disk", [this] { return ours(discovery_.listDevices()).size() == 2; });
    set("add_host", "2");
    EXPECT_EQ(ours(rescan()).size(), 6U);
}

TEST_F(ScsiDebug, ARefreshTellsWhatTheDiskSays) {
    load("sector_size=4096 inq_vendor=MAKER inq_rev=0042");
    const Devices devices = ours(rescan());
    ASSERT_EQ(devices.size(), 1U);
    const CScsiDeviceData& disk = *devices[0];
    EXPECT_EQ(disk.vendor, "MAKER");
    EXPECT_EQ(disk.model, "scsi_debug");
    EXPECT_EQ(disk.revision, "0042");
    EXPECT_EQ(disk.state, "running");
    EXPECT_EQ(disk.blockSize, 4096U);
    EXPECT_EQ(disk.blockCount, 2048U);
    EXPECT_TRUE(disk.wwid.starts_with("naa.")) << disk.wwid;
    EXPECT_EQ(disk.wwid, attribute(disk, "wwid"));
}

TEST_F(ScsiDebug, DisksOfOneHostHaveDifferentIdentities) {
    load("max_luns=3");
    const Devices devices = ours(rescan());
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_NE(devices[0]->wwid, devices[1]->wwid);
    EXPECT_NE(devices[1]->wwid, devices[2]->wwid);
}

TEST_F(ScsiDebug, ADiskThatHasGrownIsAskedForItsSize) {
    load("");
    CScsiDeviceData& disk = *ours(rescan()).at(0);
    EXPECT_EQ(disk.blockCount, 16384U);
    set("virtual_gb", "2");
    EXPECT_EQ(discovery_.UpdateDevice(&disk), 0);
    EXPECT_EQ(disk.blockCount, 2U * 1024 * 1024 * 2);
}

TEST_F(ScsiDebug, ARemovedDiskIsGoneAndARescanBringsItBack) {
    load("max_luns=2");
    const Devices devices = ours(rescan());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(discovery_.removeDevice(devices[1]->name), 0);
    EXPECT_FALSE(isThere(*devices[1]));
    EXPECT_TRUE(isThere(*devices[0]));
    EXPECT_NE(discovery_.UpdateDevice(devices[1]), 0);
    EXPECT_TRUE(devices[1]->isGone);
    EXPECT_EQ(discovery_.removeDevice(devices[1]->name), 0) << "the kernel has dropped it already";
    EXPECT_EQ(ours(rescan()).size(), 2U);
}

TEST_F(ScsiDebug, AUnitThatSaysItIsGoneIsRemovedAndOnlyIt) {
    load("max_luns=3");
    const Devices before = ours(rescan());
    ASSERT_EQ(before.size(), 3U);
    const std::string name = before[0]->name;
    set("no_lun_0", "1");  // answers its inquiry with "no unit can be here"
    const Devices after = ours(rescan());
    EXPECT_EQ(after, (Devices{before[1], before[2]}));
    EXPECT_FALSE(isThere(*before[0]));
    EXPECT_TRUE(isThere(*before[1]));
    EXPECT_TRUE(wasTraced("rescan FAILED - Remove disk " + name + "."));
}

TEST_F(ScsiDebug, AUnitThatDoesNotAnswerStays) {
    load("max_luns=3");
    const Devices before = ours(rescan());
    ASSERT_EQ(before.size(), 3U);
    set("max_luns", "1");  // the driver cannot reach the others any more
    EXPECT_EQ(ours(rescan()), before);
    EXPECT_NE(before[2]->unanswered, "");
    EXPECT_TRUE(isThere(*before[2]));
    EXPECT_TRUE(wasTraced("disk " + before[2]->name + " could not be asked: "));
}

TEST_F(ScsiDebug, AnOfflineDiskStays) {
    load("max_luns=2");
    const Devices before = ours(rescan());
    ASSERT_EQ(before.size(), 2U);
    ASSERT_EQ(sysfs_.write("class/scsi_device/" + before[1]->address.text() + "/device/state", "offline\n"), 0);
    EXPECT_EQ(ours(rescan()), before);
    EXPECT_EQ(before[1]->state, "offline");
    EXPECT_NE(before[1]->unanswered, "");
    EXPECT_TRUE(isThere(*before[1]));
}

TEST_F(ScsiDebug, DisksThatGoWithTheirHostAreNotListedAnyMore) {
    load("max_luns=2 add_host=2");
    const Devices before = ours(rescan());
    ASSERT_EQ(before.size(), 4U);
    set("add_host", "-1");
    EXPECT_EQ(ours(rescan()).size(), 2U);
    EXPECT_EQ(
        std::ranges::count_if(before, [this](CScsiDeviceData* disk) { return discovery_.UpdateDevice(disk) != 0; }), 2);
}

TEST_F(ScsiDebug, ALinkLeadsToTheDisk) {
    load("");
    const std::string disk = ours(rescan()).at(0)->name;
    const std::string link = "/dev/tarnfi-test-link";
    std::filesystem::create_symlink(disk, link);
    const Devices found = discovery_.validateDevice(link);
    std::filesystem::remove(link);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->name, disk);
    EXPECT_EQ(found[0]->blockCount, 16384U);
}

}  // namespace
