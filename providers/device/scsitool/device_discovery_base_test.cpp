// What the base does, in which order, and what it writes: with a discovery of scripted devices.
#include "device_discovery_base.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <set>
#include <stdexcept>

#include "private_host.h"
#include "trace_capture.h"

namespace {

using Names = std::vector<std::string>;

class ScriptedDiscovery : public CDeviceDiscoveryBase {
  public:
    ScriptedDiscovery() : CDeviceDiscoveryBase("/nowhere") {}

    int UpdateDevice(CScsiDeviceData* device) override {
        calls.push_back("update " + device->name);
        return failing.contains(device->name) ? 1 : 0;
    }
    int removeDeadDevices(std::vector<CScsiDeviceData*>& devices, bool flushMaps) override {
        calls.push_back("dead " + std::to_string(devices.size()) + (flushMaps ? " flush" : ""));
        return 0;
    }
    int removeDevice(const std::string& name) override {
        calls.push_back("remove " + name);
        return 0;
    }
    int FlushMultipathStaleDevices() override {
        calls.emplace_back("flush");
        return flushResult;
    }
    std::vector<CScsiDeviceData*> listDevices() override {
        calls.emplace_back("list");
        if (throws == "list") {
            throw 7;
        }
        return {keep(*CScsiAddress::parse("1:0:0:0"), "/dev/sda"), keep(*CScsiAddress::parse("1:0:0:1"), "/dev/sdb")};
    }
    std::vector<CScsiDeviceData*> listDevicesByName(std::string deviceName) override {
        calls.push_back("list " + deviceName);
        if (throws == "name") {
            throw std::runtime_error("no such name");
        }
        return {keep(*CScsiAddress::parse("1:0:0:1"), deviceName)};
    }
    int rescanHostBuses(bool hostOption) override {
        calls.push_back(hostOption ? "scan all" : "scan used");
        if (throws == "scan") {
            throw std::runtime_error("no bus");
        }
        return 0;
    }

    std::set<std::string> failing;
    std::string throws;
    int flushResult = 0;
    Names calls;
};

class DiscoveryBase : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the rescan lock and the multipath tools of this machine would be used: "
                         << enterPrivateHost();
        }
        discovery_.registerTraceLog(trace_.log());
    }

    TraceCapture trace_;
    ScriptedDiscovery discovery_;
};

TEST_F(DiscoveryBase, RescanWithHosts) {
    discovery_.failing = {"/dev/sdb"};
    EXPECT_EQ(discovery_.rescan(true, true, false).size(), 2U);
    EXPECT_EQ(trace_.lines(),
              (Names{"6|Entering Function rescan [N, device_discovery_base]",
                     "3|libscsitool: Info: CDeviceDiscoveryBase::rescan().", "3|Acquring lock .", "3|Got the lock .",
                     "6|libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk /dev/sda.",
                     "6|libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk /dev/sdb.",
                     "3|libscsitool: Info: CDeviceDiscoveryBase::rescan FAILED - Remove disk /dev/sdb.",
                     "3|Releasing the lock .", "3|libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.",
                     "6|Exiting Function rescan [N, device_discovery_base]"}));
    EXPECT_EQ(discovery_.calls,
              (Names{"scan all", "list", "update /dev/sda", "update /dev/sdb", "remove /dev/sdb", "dead 2"}));
}

TEST_F(DiscoveryBase, RescanPassesItsOptionsOn) {
    discovery_.rescan(true, false, true);
    EXPECT_EQ(discovery_.calls, (Names{"scan used", "list", "update /dev/sda", "update /dev/sdb", "dead 2 flush"}));
}

TEST_F(DiscoveryBase, RescanWithoutHostsFlushesMaps) {
    EXPECT_EQ(discovery_.rescan(false, true, true).size(), 2U);
    EXPECT_EQ(discovery_.calls, (Names{"list", "update /dev/sda", "update /dev/sdb", "flush"}));
}

TEST_F(DiscoveryBase, AFailedFlushIsOneLine) {
    discovery_.flushResult = 11;
    discovery_.rescan(false, true, true);
    EXPECT_EQ(trace_.lines(),
              (Names{"6|Entering Function rescan [N, device_discovery_base]",
                     "3|libscsitool: Info: CDeviceDiscoveryBase::rescan().", "3|Acquring lock .", "3|Got the lock .",
                     "6|libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk /dev/sda.",
                     "6|libscsitool: Info: CDeviceDiscoveryBase:: Getting data for disk /dev/sdb.",
                     "1|ERROR: unable to invoke the command to flush multipath stale device paths",
                     "3|Releasing the lock .", "3|libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.",
                     "6|Exiting Function rescan [N, device_discovery_base]"}));
}

TEST_F(DiscoveryBase, AnExceptionEndsTheWorkButNotTheRescan) {
    const Names failed = {"6|Entering Function rescan [N, device_discovery_base]",
                          "3|libscsitool: Info: CDeviceDiscoveryBase::rescan().",
                          "3|Acquring lock .",
                          "3|Got the lock .",
                          "1|libscsitool: ERROR: CDeviceDiscoveryBase::rescan() failed.",
                          "3|Releasing the lock .",
                          "3|libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.",
                          "6|Exiting Function rescan [N, device_discovery_base]"};
    discovery_.throws = "scan";
    EXPECT_TRUE(discovery_.rescan(true, true, false).empty());
    EXPECT_EQ(trace_.lines(), failed);
    // What is thrown makes no difference; and the lock was given back, or this would wait for ever.
    TraceCapture again;
    ScriptedDiscovery other;
    other.registerTraceLog(again.log());
    other.throws = "list";
    EXPECT_TRUE(other.rescan(true, true, false).empty());
    EXPECT_EQ(again.lines(), failed);
}

TEST_F(DiscoveryBase, WithoutATraceLogTheWorkIsTheSame) {
    ScriptedDiscovery silent;
    EXPECT_EQ(silent.rescan(true, true, false).size(), 2U);
    EXPECT_EQ(silent.calls.size(), 5U);
    EXPECT_TRUE(trace_.lines().empty());
}

TEST_F(DiscoveryBase, ValidateRemovesNothing) {
    discovery_.failing = {"/dev/sdb"};
    EXPECT_EQ(discovery_.validateDevice("/dev/sdb").size(), 1U);
    EXPECT_EQ(trace_.lines(),
              (Names{"6|Entering Function validateDevice [N, device_discovery_base]",
                     "3|libscsitool: Info: CDeviceDiscoveryBase:: validateDevice FAILED - Remove disk /dev/sdb.",
                     "6|Exiting Function validateDevice [N, device_discovery_base]"}));
    EXPECT_EQ(discovery_.calls, (Names{"list /dev/sdb", "update /dev/sdb"}));
}

TEST_F(DiscoveryBase, ValidateCatchesEverything) {
    discovery_.throws = "name";
    EXPECT_TRUE(discovery_.validateDevice("/dev/sdb").empty());
    EXPECT_EQ(trace_.lines(), (Names{"6|Entering Function validateDevice [N, device_discovery_base]",
                                     "1|libscsitool: ERROR: CDeviceDiscoveryBase:: validateDevice() failed.",
                                     "6|Exiting Function validateDevice [N, device_discovery_base]"}));
}

// Both ways to register keep a counted reference and replace the earlier one.
TEST_F(DiscoveryBase, RegisteringCounts) {
    const auto counted = makeCounted<CFiTraceLog>();
    auto changeable = counted;
    ScriptedDiscovery discovery;
    discovery.registerTraceLog(counted);
    EXPECT_EQ(counted->getCount(), 3);
    discovery.registerTraceLog(changeable);
    EXPECT_EQ(counted->getCount(), 3);
    EXPECT_EQ(discovery.traceLog().get(), counted.get());
}

// The slot of a virtual operation, as the platform's ABI keeps it in a pointer to the member.
template <typename Member>
std::ptrdiff_t slot(Member member) {
    const auto parts = std::bit_cast<std::array<std::ptrdiff_t, 2>>(member);
    return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(DiscoverySlots, TheOrderIsKept) {
    using Base = CDeviceDiscoveryBase;
    using Log = CFiSmartPtr<CFiTraceLog>;
    EXPECT_EQ(slot(static_cast<void (CFiTraceable::*)(const Log&)>(&CFiTraceable::registerTraceLog)), 2);
    EXPECT_EQ(slot(static_cast<void (Base::*)(Log&)>(&Base::registerTraceLog)), 3);
    EXPECT_EQ(slot(&Base::removeDeadDevices), 4);
    EXPECT_EQ(slot(&Base::removeDevice), 5);
    EXPECT_EQ(slot(&Base::FlushMultipathStaleDevices), 6);
    EXPECT_EQ(slot(&Base::rescan), 7);
    EXPECT_EQ(slot(&Base::validateDevice), 8);
    EXPECT_EQ(slot(&Base::listDevices), 9);
    EXPECT_EQ(slot(&Base::listDevicesByName), 10);
    EXPECT_EQ(slot(&Base::rescanHostBuses), 11);
}

}  // namespace
