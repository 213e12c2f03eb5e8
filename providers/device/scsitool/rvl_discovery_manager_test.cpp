// The multipath tools, played by scripts that are laid over those of the machine.
#include "rvl_discovery_manager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "child.h"
#include "linux_device_discovery.h"
#include "modelled_host.h"
#include "private_host.h"
#include "trace_capture.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

class MultipathTools : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the multipath tools of this machine would be used: " << enterPrivateHost();
        }
    }

    // A process sees the script as /sbin/multipath; the result is what work returns there.
    int withMultipath(const std::string& script, const std::function<int()>& work) {
        const fs::path folder = fs::path(host_.sysfs()).parent_path() / "tools";
        fs::create_directories(folder);
        std::ofstream(folder / "multipath") << "#!/bin/sh\necho \"$@\" >> " << log() << "\n" << script << "\n";
        fs::permissions(folder / "multipath", fs::perms::owner_all);
        Child child([&](const auto&) {
            if (!overlaySbin(folder).empty()) {
                return kNoOverlay;
            }
            return work();
        });
        return child.join();
    }

    std::string log() const { return fs::path(host_.sysfs()).parent_path() / "asked"; }
    Lines asked() const {
        Lines lines;
        std::ifstream file(log());
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    static constexpr int kNoOverlay = 99;
    const ModelledHost host_{"stale_lun"};
    TraceCapture trace_;
};

TEST_F(MultipathTools, AbsentIsASuccessThatIsTracedOnce) {
    CRvlDiscoveryManager manager(host_.sysfs());
    manager.registerTraceLog(trace_.log());
    EXPECT_EQ(manager.rescan(), 0);
    EXPECT_EQ(manager.flushStaleMaps(), 0);
    EXPECT_EQ(manager.flushStaleMaps(), 0);
    EXPECT_EQ(trace_.details(),
              Lines{"7|libscsitool: /sbin/multipath is not installed, multipath maps are left as they are."});
    EXPECT_TRUE(trace_.lines().empty());
}

TEST_F(MultipathTools, OnlyMapsWithoutPathAndUserAreFlushed) {
    const int result = withMultipath("exit 0", [&] {
        CLinuxDeviceDiscovery discovery(host_.sysfs(), host_.devices());
        return discovery.FlushMultipathStaleDevices();
    });
    if (result == kNoOverlay) {
        GTEST_SKIP() << "no overlay over /usr/sbin to be had here";
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(asked(), Lines{"-f mpath b"});
}

TEST_F(MultipathTools, AFlushThatFailsIsAFailure) {
    const int result = withMultipath("echo 'map in use'; exit 1", [&] {
        CLinuxDeviceDiscovery discovery(host_.sysfs(), host_.devices());
        return discovery.FlushMultipathStaleDevices();
    });
    if (result == kNoOverlay) {
        GTEST_SKIP() << "no overlay over /usr/sbin to be had here";
    }
    EXPECT_EQ(result, 11);
}

TEST_F(MultipathTools, ARescanHasNewPathsGathered) {
    const int result = withMultipath("exit 0", [&] {
        CRvlDiscoveryManager manager(host_.sysfs());
        return manager.rescan();
    });
    if (result == kNoOverlay) {
        GTEST_SKIP() << "no overlay over /usr/sbin to be had here";
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(asked(), Lines{"-v1"});
}

TEST_F(MultipathTools, DeadDevicesTakeTheirMapsWithThemOnRequest) {
    const int result = withMultipath("exit 0", [&] {
        CLinuxDeviceDiscovery discovery(host_.sysfs(), host_.devices());
        auto devices = discovery.listDevices();
        devices.at(1)->isGone = true;
        const int withoutMaps = discovery.removeDeadDevices(devices, false);
        devices.at(0)->isGone = true;
        const int withMaps = discovery.removeDeadDevices(devices, true);
        return withoutMaps * 10 + withMaps + (devices.empty() ? 0 : 50);
    });
    if (result == kNoOverlay) {
        GTEST_SKIP() << "no overlay over /usr/sbin to be had here";
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(host_.deleteOf("3:0:0:1"), "1");
    EXPECT_EQ(host_.deleteOf("3:0:0:2"), "1");
    EXPECT_EQ(asked(), Lines{"-f mpath b"});
}

}  // namespace
