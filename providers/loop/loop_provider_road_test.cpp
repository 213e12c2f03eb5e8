// Snapshots from claim to dispose, and what is left when the road breaks off; needs root.
#include <fcntl.h>
#include <linux/fs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "loop_framework.h"

namespace loopfi {
namespace {

namespace fs = std::filesystem;
using Leftovers = std::vector<std::string>;

TEST_F(LoopProviderTest, MakesAndDisposesOfASnapshot) {
    const std::string device = origin("disk image");
    Node& origin = node(device);
    ASSERT_EQ(selectAndPrepare({&origin}, "s-1"), ZFI_OK);
    EXPECT_EQ(fs::file_size(imageOf("disk image") + ".tarnfi-s-1"), 0U);
    const Made made = make({&origin}, "s-1");
    ASSERT_EQ(made.status, ZFI_OK);
    ASSERT_EQ(made.devices.size(), 1U);
    EXPECT_NE(origin.domain.state & ZFI_STATE_MADE, 0U);
    EXPECT_TRUE(LoopTestBed::run("cmp " + device + " " + made.devices[0]));
    EXPECT_EQ(make({&origin}, "s-1").devices, made.devices) << "a repeated call made another one";
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_EQ(leftovers(), Leftovers{});
    EXPECT_TRUE(isAttached(device));
    EXPECT_EQ(dispose(origin), ZFI_OK);
}

struct TracedLines {
    static void add(void* context, int level, const char* plugin, const char* text) {
        static_cast<TracedLines*>(context)->lines.push_back(std::to_string(level) + " " + plugin + " " + text);
    }
    std::vector<std::string> lines;
};

TEST_F(LoopProviderTest, TracesNothingInsideTheFreezeUnlessItFails) {
    Node& origin = node(this->origin("disk"));
    ASSERT_EQ(selectAndPrepare({&origin}, "quiet"), ZFI_OK);
    TracedLines traced;
    const int level = znfi_trace_level();
    znfi_trace_set_level(5);
    znfi_trace_sink(&TracedLines::add, &traced);
    EXPECT_EQ(make({&origin}, "quiet").status, ZFI_OK);
    EXPECT_EQ(traced.lines, std::vector<std::string>{});
    EXPECT_EQ(make({&origin}, "other").status, ZFI_ERR_FAILED);
    EXPECT_EQ(traced.lines.size(), 1U);
    EXPECT_EQ(traced.lines.at(0), "1 loopfi makeSnapshots: nothing was selected for the snapshot other");
    znfi_trace_sink(nullptr, nullptr);
    znfi_trace_set_level(level);
    EXPECT_EQ(dispose(origin), ZFI_OK);
}

TEST_F(LoopProviderTest, HoldsThePointInTimeOfTheFreeze) {
    const std::string image = imageOf("disk");
    LoopTestBed::makeImage(image, 64 << 20, 0);
    ASSERT_TRUE(LoopTestBed::run("mkfs.ext4 -q '" + image + "'"));
    ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
    const std::string point = bed_->directory() + "/cloning";
    const std::string copy = bed_->directory() + "/copy";
    fs::create_directory(point);
    fs::create_directory(copy);
    const std::string device = bed_->attach(image);
    ASSERT_TRUE(LoopTestBed::run("mount --make-rprivate / && mount " + device + " " + point));
    ASSERT_TRUE(LoopTestBed::run("echo before > " + point + "/file"));
    Node& origin = node(device);
    ASSERT_EQ(selectAndPrepare({&origin}, "frozen"), ZFI_OK);
    const int directory = ::open(point.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::ioctl(directory, FIFREEZE, 0), 0);
    const Made made = make({&origin}, "frozen");
    EXPECT_EQ(::ioctl(directory, FITHAW, 0), 0);
    ::close(directory);
    ASSERT_EQ(made.status, ZFI_OK);
    EXPECT_TRUE(LoopTestBed::run("echo after > " + point + "/file && sync -f " + point));
    ASSERT_TRUE(LoopTestBed::run("mount -o ro " + made.devices[0] + " " + copy));
    EXPECT_EQ(LoopTestBed::output("cat " + copy + "/file"), "before");
    EXPECT_EQ(dispose(origin), ZFI_ERR_BUSY) << "it is mounted";
    EXPECT_TRUE(isAttached(made.devices[0]));
    EXPECT_TRUE(exists(image + ".tarnfi-frozen"));
    EXPECT_TRUE(LoopTestBed::run("umount " + copy));
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_EQ(leftovers(), Leftovers{});
    EXPECT_TRUE(LoopTestBed::run("umount " + point));
}

TEST_F(LoopProviderTest, ClonesWithinTheShortestBudget) {
    const std::string directory = bed_->mountCloning();
    const std::string device = origin("disk", directory);
    Node& origin = node(device);
    ASSERT_EQ(selectAndPrepare({&origin}, "clone", 200), ZFI_OK);
    const Made made = make({&origin}, "clone");
    ASSERT_EQ(made.status, ZFI_OK);
    EXPECT_TRUE(LoopTestBed::run("cmp " + device + " " + made.devices[0]));
    EXPECT_TRUE(LoopTestBed::run("filefrag -v " + directory + "/disk.tarnfi-clone | grep -q shared"));
    EXPECT_EQ(dispose(origin), ZFI_OK);
}

TEST_F(LoopProviderTest, DisposesInAnotherProcessFromTheBlob) {
    const std::string device = origin("disk");
    Node& before = node(device);
    ASSERT_EQ(selectAndPrepare({&before}, "blob"), ZFI_OK);
    const Made made = make({&before}, "blob");
    ASSERT_EQ(made.status, ZFI_OK);
    const std::string blob = save(before);
    start();
    EXPECT_TRUE(isAttached(made.devices[0])) << "the end of the process took the snapshot along";
    Node snapshot(made.devices[0]);
    ASSERT_EQ(restore(snapshot, blob), ZFI_OK);
    EXPECT_EQ(dispose(snapshot), ZFI_OK);
    EXPECT_EQ(leftovers(), Leftovers{});
    EXPECT_TRUE(isAttached(device));
    EXPECT_EQ(restore(snapshot, blob), ZFI_OK);
    EXPECT_EQ(dispose(snapshot), ZFI_OK);
    provider_->deinit_node(&snapshot.domain);
}

TEST_F(LoopProviderTest, DisposesInAnotherProcessWithoutARecord) {
    const std::string device = origin("disk");
    for (const bool byOrigin : {true, false}) {
        Node& before = node(device);
        ASSERT_EQ(selectAndPrepare({&before}, "lost"), ZFI_OK);
        const Made made = make({&before}, "lost");
        ASSERT_EQ(made.status, ZFI_OK);
        start();
        Node after(byOrigin ? device : made.devices[0]);
        EXPECT_EQ(dispose(after, byOrigin ? "lost" : nullptr), ZFI_OK);
        EXPECT_EQ(leftovers(), Leftovers{});
        EXPECT_TRUE(isAttached(device));
        EXPECT_EQ(dispose(after, "lost"), ZFI_OK);
    }
}

TEST_F(LoopProviderTest, TheDeviceOfASnapshotGetsItsRecord) {
    Node& origin = node(this->origin("disk"));
    ASSERT_EQ(selectAndPrepare({&origin}, "first"), ZFI_OK);
    const Made first = make({&origin}, "first");
    ASSERT_EQ(first.status, ZFI_OK);
    Node snapshot(first.devices[0]);
    EXPECT_EQ(provider_->init_altnode(&origin.domain, nullptr, &snapshot.domain), ZFI_OK);
    EXPECT_EQ(save(snapshot), save(origin));
    // A later snapshot of the origin replaces the origin's record, not that of the first snapshot.
    ASSERT_EQ(selectAndPrepare({&origin}, "second"), ZFI_OK);
    const Made second = make({&origin}, "second");
    ASSERT_EQ(second.status, ZFI_OK);
    EXPECT_EQ(dispose(snapshot), ZFI_OK);
    EXPECT_FALSE(isAttached(first.devices[0]));
    EXPECT_TRUE(isAttached(second.devices[0]));
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_EQ(leftovers(), Leftovers{});
    provider_->deinit_node(&snapshot.domain);
}

TEST_F(LoopProviderTest, WhatWasOnlyPreparedGoesWithItsNodeOrByDispose) {
    const std::string device = origin("disk");
    const std::string reserved = imageOf("disk") + ".tarnfi-early";
    Node& origin = node(device);
    ASSERT_EQ(selectAndPrepare({&origin}, "early"), ZFI_OK);
    ASSERT_EQ(selectAndPrepare({&origin}, "early"), ZFI_OK) << "preparing twice";
    const std::string blob = save(origin);
    EXPECT_TRUE(exists(reserved));
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_FALSE(exists(reserved));
    ASSERT_EQ(selectAndPrepare({&origin}, "early"), ZFI_OK);
    start();
    EXPECT_FALSE(exists(reserved)) << "the provider ended and left its reservation";
    // A process that was killed leaves it.
    ASSERT_TRUE(LoopTestBed::run("umask 077 && : > '" + reserved + "'"));
    EXPECT_EQ(dispose(node(device), "early"), ZFI_OK);
    EXPECT_FALSE(exists(reserved));
}

// The origins lie on a file system that another file fills up between prepare and make.
class LoopProviderFullTest : public LoopProviderTest {
  protected:
    void SetUp() override {
        LoopProviderTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        small_ = bed_->directory() + "/cloning";
        fs::create_directory(small_);
        ASSERT_EQ(::unshare(CLONE_NEWNS), 0);
        ASSERT_TRUE(LoopTestBed::run("mount --make-rprivate / && mount -t tmpfs -o size=20m none " + small_));
    }
    void fill() { EXPECT_FALSE(LoopTestBed::run("cat /dev/zero > " + small_ + "/filler 2>/dev/null")); }
    void drain() { EXPECT_TRUE(LoopTestBed::run("rm " + small_ + "/filler")); }
    std::string small_;
};

TEST_F(LoopProviderFullTest, AFailedMakeLeavesNothingAndMayBeRepeated) {
    Node& origin = node(this->origin("disk", small_));
    ASSERT_EQ(selectAndPrepare({&origin}, "full"), ZFI_OK);
    fill();
    EXPECT_EQ(make({&origin}, "full").status, ZFI_ERR_FAILED);
    EXPECT_EQ(leftovers(), Leftovers{});
    drain();
    const Made made = make({&origin}, "full");
    ASSERT_EQ(made.status, ZFI_OK);
    EXPECT_TRUE(LoopTestBed::run("cmp " + std::string(origin.domain.objid->name) + " " + made.devices[0]));
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_EQ(leftovers(), Leftovers{});
}

TEST_F(LoopProviderFullTest, SeveralNodesAreMadeAllOrNone) {
    Node* nodes[] = {&node(origin("one")), &node(origin("two", small_)), &node(origin("three"))};
    const std::vector<Node*> all(std::begin(nodes), std::end(nodes));
    ASSERT_EQ(selectAndPrepare(all, "set"), ZFI_OK);
    fill();
    EXPECT_EQ(make(all, "set").status, ZFI_ERR_FAILED);
    EXPECT_EQ(leftovers(), Leftovers{});
    drain();
    ASSERT_EQ(selectAndPrepare(all, "set"), ZFI_OK);
    const Made made = make(all, "set");
    ASSERT_EQ(made.status, ZFI_OK);
    ASSERT_EQ(made.devices.size(), 3U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_TRUE(LoopTestBed::run("cmp " + std::string(all[i]->domain.objid->name) + " " + made.devices[i]));
        EXPECT_EQ(dispose(*all[i]), ZFI_OK);
    }
    EXPECT_EQ(leftovers(), Leftovers{});
}

}  // namespace
}  // namespace loopfi
