// Disks whose block devices come after the scan, as the kernel makes them.
#include "new_disks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "linux_device_discovery.h"
#include "modelled_host.h"
#include "private_host.h"
#include "scripted_disks.h"
#include "trace_capture.h"

namespace {

using Names = std::vector<std::string>;
using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLimit{2};
constexpr std::chrono::milliseconds kLate{150};
constexpr char kAddress[] = "3:0:0:7";

// A host of which one scan finds something. Its scan file is a full pipe: a write to it ends when, and only when, what
// the scan finds is there. What comes later comes on the same thread, which is waited for at the end.
class LateHost {
  public:
    // `found` once somebody has opened host3's scan file and before his write ends, `later` after it.
    LateHost(const ModelledHost& host, std::function<void()> found, std::function<void()> later) {
        const std::string scan = host.sysfs() + "/class/scsi_host/host3/scan";
        std::filesystem::remove(scan);
        must(mkfifo(scan.c_str(), 0600));
        pipe_ = must(open(scan.c_str(), O_RDWR | O_CLOEXEC));
        const std::string full(static_cast<std::size_t>(must(fcntl(pipe_, F_SETPIPE_SZ, 4096))), ' ');
        must(write(pipe_, full.data(), full.size()));
        opened_ = must(inotify_init1(IN_CLOEXEC));
        must(inotify_add_watch(opened_, scan.c_str(), IN_OPEN));
        kernel_ = std::thread([this, length = full.size(), found = std::move(found), later = std::move(later)] {
            take(opened_, sizeof(inotify_event));
            found();
            take(pipe_, length);
            written_ = take(pipe_, std::string_view("- - -").size());
            later();
        });
    }
    LateHost(const LateHost&) = delete;
    LateHost& operator=(const LateHost&) = delete;
    ~LateHost() {
        join();
        close(pipe_);
        close(opened_);
    }

    // What the scan was asked for.
    std::string join() {
        if (kernel_.joinable()) {
            kernel_.join();
        }
        return written_;
    }

  private:
    template <typename Result>
    static Result must(Result result) {
        return result >= 0 ? result : throw std::runtime_error("no scan that takes its time");
    }
    static std::string take(int descriptor, std::size_t length) {
        std::string text(length, '\0');
        text.resize(static_cast<std::size_t>(must(read(descriptor, text.data(), length))));
        return text;
    }

    int pipe_ = -1;
    int opened_ = -1;
    std::string written_;
    std::thread kernel_;
};

std::string folderOf(const std::string& address) {
    return "class/scsi_device/" + address + "/device/";
}

void addUnit(const ModelledHost& host, const std::string& type, const std::string& address = kAddress) {
    host.write(folderOf(address) + "state", "running\n");
    host.write(folderOf(address) + "type", type + '\n');
}

void nameDisk(const ModelledHost& host, const std::string& name, const std::string& address = kAddress) {
    const std::string block = folderOf(address) + "block/" + name;
    host.write(block + "/size", "2048\n");
    std::this_thread::sleep_for(kLate);  // the kernel shows a block device before its queue
    host.write(block + "/queue/logical_block_size", "512\n");
}

class NewDisksTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the rescan lock and the multipath tools of this machine would be used: "
                         << enterPrivateHost();
        }
    }
    void TearDown() override { forgetDisks(); }

    ModelledHost host_{"stale_lun"};
    CLinuxDeviceDiscovery discovery_{host_.sysfs(), host_.devices()};
    TraceCapture trace_;
};

TEST_F(NewDisksTest, ARescanFindsADiskThatIsNamedAfterTheScan) {
    scriptDisk(host_.node("sdb"));
    scriptDisk(host_.node("sdc"));
    LateHost late(
        host_, [this] { addUnit(host_, "0"); },
        [this] {
            std::this_thread::sleep_for(kLate);
            nameDisk(host_, "sdh");
        });
    discovery_.registerTraceLog(trace_.log());
    const auto devices = discovery_.rescan(true, true, false);
    EXPECT_EQ(late.join(), "- - -");
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices.back()->name, "/dev/sdh");
    EXPECT_EQ(devices.back()->blockCount, 2048U) << "the record was read before it was whole";
    const Names lines = trace_.lines();
    EXPECT_EQ(std::ranges::count_if(lines, [](const std::string& line) { return line.find("/dev/sdh") != line.npos; }),
              1);
    EXPECT_EQ(std::ranges::find(lines, "1|libscsitool: ERROR: CDeviceDiscoveryBase::rescan() failed."), lines.end());
}

TEST_F(NewDisksTest, EveryNewDiskIsWaitedFor) {
    const SysfsTree sysfs(host_.sysfs());
    const NewDisks disks(sysfs);
    addUnit(host_, "0", "3:0:0:7");
    addUnit(host_, "14", "3:0:1:7");
    std::thread kernel([this] {
        nameDisk(host_, "sdh", "3:0:0:7");
        nameDisk(host_, "sdi", "3:0:1:7");
    });
    EXPECT_EQ(disks.await(kLimit * 5), Names{});
    EXPECT_TRUE(sysfs.has(folderOf("3:0:1:7") + "block/sdi/queue"));
    kernel.join();
}

TEST_F(NewDisksTest, ADiskThatGoesAgainIsNotWaitedFor) {
    const SysfsTree sysfs(host_.sysfs());
    const NewDisks disks(sysfs);
    addUnit(host_, "0");
    std::thread kernel([this] {
        std::this_thread::sleep_for(kLate);
        host_.remove(folderOf(kAddress));
    });
    EXPECT_EQ(disks.await(kLimit * 5), Names{});
    kernel.join();
}

TEST_F(NewDisksTest, NeitherOldDisksWithoutABlockDeviceNorOtherUnitsAreWaitedFor) {
    addUnit(host_, "0", "3:0:0:8");
    const SysfsTree sysfs(host_.sysfs());
    const NewDisks disks(sysfs);
    addUnit(host_, "5", "3:0:0:9");
    addUnit(host_, "13", "3:0:0:10");
    host_.write(folderOf("garbage") + "type", "0\n");
    const auto start = Clock::now();
    EXPECT_EQ(disks.await(std::chrono::minutes(1)), Names{});
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(30));
}

TEST_F(NewDisksTest, ADiskThatIsNeverNamedHoldsTheScanUpForTwoSecondsAndIsToldOf) {
    LateHost late(
        host_, [this] { addUnit(host_, "0"); }, [] {});
    discovery_.registerTraceLog(trace_.log());
    const auto start = Clock::now();
    EXPECT_EQ(discovery_.rescanHostBuses(true), 0);
    EXPECT_GE(Clock::now() - start, kLimit);
    late.join();
    EXPECT_EQ(trace_.details(), Names{"7|libscsitool: the disk at 3:0:0:7 has no block device yet and is not waited "
                                      "for any longer"});
}

}  // namespace
