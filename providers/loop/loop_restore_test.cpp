// Snapshots written back over their origins through the shipped library; needs root.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "loop_framework.h"

namespace loopfi {
namespace {

namespace fs = std::filesystem;

struct Restored {
    int status = -1;
    long left = -1;
    std::string device;
};

// An origin of 16 MiB with 6 of data, its snapshot "s", and then some MiB of it overwritten from 3 MiB on.
class LoopRestoreTest : public LoopProviderTest {
  protected:
    void make(const std::string& directory, const std::string& options = "", int spoiledMiB = 8) {
        image_ = directory + "/disk";
        copy_ = image_ + ".tarnfi-s";
        LoopTestBed::makeImage(image_, 16 << 20, 6 << 20);
        device_ = bed_->attach(image_, options);
        Node& origin = node(device_);
        ASSERT_EQ(selectAndPrepare({&origin}, "s"), ZFI_OK);
        const Made made = LoopProviderTest::make({&origin}, "s");
        ASSERT_EQ(made.status, ZFI_OK);
        snapshot_ = made.devices.at(0);
        blob_ = save(origin);
        start();  // whoever restores is another process
        spoil(spoiledMiB);
    }
    void spoil(int mebibytes = 8) {
        ASSERT_TRUE(LoopTestBed::run("dd if=/dev/urandom of=" + device_ + " bs=1M seek=3 count=" +
                                     std::to_string(mebibytes) + " conv=notrunc,fsync status=none"));
        ASSERT_FALSE(isRestored());
    }
    bool isRestored() const { return LoopTestBed::run("cmp -s '" + image_ + "' '" + copy_ + "'"); }
    std::string sum(const std::string& file) const { return LoopTestBed::output("sha256sum < '" + file + "'"); }

    Restored restoreIt(long flags = 0) {
        if (!origin_) {
            origin_ = std::make_unique<Node>(recorded_.empty() ? device_ : recorded_);
            EXPECT_EQ(restore(*origin_, blob_), ZFI_OK);
        }
        Node snapshot(snapshot_);
        znfi_objid* objects[] = {origin_->domain.objid};
        znfi_objid* snapshots[] = {snapshot.domain.objid};
        std::string id = "s";
        char** targets = nullptr;
        long count = 0;
        Restored restored;
        restored.status =
            provider_->restore(objects, snapshots, 1, id.data(), nullptr, &targets, &count, flags, &restored.left);
        EXPECT_EQ(count, restored.status == ZFI_OK ? 1 : 0);
        if (targets != nullptr) {
            restored.device = targets[0];
            znfi_free_buf(targets[0], restored.device.size() + 1);
            std::free(targets);
        }
        return restored;
    }
    void drop() {
        if (origin_) {
            provider_->deinit_node(&origin_->domain);
            origin_.reset();
        }
    }
    // Both the look and the deed are refused, and nothing was changed.
    void expectRefused(const std::string& why, int status = ZFI_ERR_FAILED) {
        const std::string before = sum(image_);
        for (const long flags : {long{ZFI_RESTORE_CHECK}, 0L}) {
            const Restored refused = restoreIt(flags);
            EXPECT_EQ(refused.status, status) << why;
            EXPECT_EQ(refused.left, ZFI_RESTORE_UNTOUCHED) << why;
        }
        EXPECT_EQ(sum(image_), before) << why;
        drop();
    }
    void expectRestored(const std::string& device) {
        const Restored restored = restoreIt();
        EXPECT_EQ(restored.status, ZFI_OK);
        EXPECT_EQ(restored.left, ZFI_RESTORE_WHOLE);
        EXPECT_EQ(restored.device, device);
        EXPECT_TRUE(isRestored());
    }
    void TearDown() override {
        if (bed_) {
            drop();
            run("umount " + point());
            Node snapshot(snapshot_);
            if (!blob_.empty()) {
                EXPECT_EQ(restore(snapshot, blob_), ZFI_OK);
                EXPECT_EQ(dispose(snapshot), ZFI_OK);
                provider_->deinit_node(&snapshot.domain);
                EXPECT_EQ(leftovers(), std::vector<std::string>{});
            }
        }
        LoopProviderTest::TearDown();
    }
    static bool run(const std::string& command) { return LoopTestBed::run(command + " 2>/dev/null"); }
    std::string point() const { return bed_->directory() + "/point"; }

    std::string image_;
    std::string copy_;
    std::string device_;
    std::string snapshot_;
    std::string recorded_;  // the name under which the origin is asked for, where it is not device_
    std::string blob_;
    std::unique_ptr<Node> origin_;
};

TEST_F(LoopRestoreTest, CopiesDataAndHolesBack) {
    make(bed_->directory());
    const std::string snapshot = sum(copy_);
    EXPECT_EQ(restoreIt(ZFI_RESTORE_CHECK).status, ZFI_OK);
    EXPECT_FALSE(isRestored()) << "only looking changed it";
    expectRestored(device_);
    EXPECT_TRUE(run("cmp " + device_ + " " + snapshot_)) << "the device shows what it had read before";
    EXPECT_EQ(sum(copy_), snapshot);
    struct stat status {};
    ASSERT_EQ(::stat(image_.c_str(), &status), 0);
    EXPECT_LT(status.st_blocks * 512, 8 << 20) << "what was a hole is data";
    spoil();
    expectRestored(device_);  // once more
}

TEST_F(LoopRestoreTest, ClonesWhereTheFileSystemCan) {
    make(bed_->mountCloning());
    expectRestored(device_);
    EXPECT_TRUE(run("cmp " + device_ + " " + snapshot_));
    EXPECT_TRUE(run("filefrag -v '" + image_ + "' | grep -q shared"));
}

TEST_F(LoopRestoreTest, WritesOnlyWhatTheDeviceShows) {
    for (const bool clones : {false, true}) {
        make(clones ? bed_->mountCloning() : bed_->directory(), "-o 1536 --sizelimit 8388608", 4);
        ASSERT_TRUE(run("printf before | dd of='" + image_ + "' bs=1 seek=100 conv=notrunc status=none"));
        ASSERT_TRUE(run("printf behind | dd of='" + image_ + "' bs=1 seek=8390144 conv=notrunc status=none"));
        const Restored restored = restoreIt();
        EXPECT_EQ(restored.left, ZFI_RESTORE_WHOLE);
        EXPECT_TRUE(run("cmp " + device_ + " " + snapshot_));
        EXPECT_EQ(LoopTestBed::output("dd if='" + image_ + "' bs=1 skip=100 count=6 status=none"), "before");
        EXPECT_EQ(LoopTestBed::output("dd if='" + image_ + "' bs=1 skip=8390144 count=6 status=none"), "behind");
        drop();
        Node snapshot(snapshot_);
        EXPECT_EQ(restore(snapshot, blob_), ZFI_OK);
        EXPECT_EQ(dispose(snapshot), ZFI_OK);
        provider_->deinit_node(&snapshot.domain);
        ASSERT_TRUE(run("losetup -d " + device_));
        blob_.clear();
    }
}

TEST_F(LoopRestoreTest, FollowsTheFileToAnotherDevice) {
    make(bed_->directory());
    recorded_ = device_;
    ASSERT_TRUE(run("losetup -d " + device_));
    const std::string other = imageOf("other");
    LoopTestBed::makeImage(other, 16 << 20, 4096);
    ASSERT_TRUE(run("losetup " + device_ + " " + other)) << "the recorded number is another file's now";
    const std::string before = sum(other);
    device_ = bed_->attach(image_);
    ASSERT_NE(device_, recorded_);
    expectRestored(device_);
    EXPECT_EQ(sum(other), before);
}

TEST_F(LoopRestoreTest, ADetachedFileIsAttachedForAsLongAsTheNodeLives) {
    make(bed_->directory());
    ASSERT_TRUE(run("losetup -d " + device_));
    const Restored restored = restoreIt();
    EXPECT_EQ(restored.left, ZFI_RESTORE_WHOLE);
    EXPECT_TRUE(isAttached(restored.device));
    EXPECT_TRUE(run("cmp " + restored.device + " " + snapshot_));
    drop();
    for (int i = 0; isAttached(restored.device) && i < 500; ++i) {
        ::usleep(10'000);
    }
    EXPECT_FALSE(isAttached(restored.device));
}

TEST_F(LoopRestoreTest, ADeviceThatWouldGoWithItsMountKeepsItsNumber) {
    LoopTestBed::enterPrivateMounts();
    make(bed_->directory());
    ASSERT_TRUE(run("losetup -d " + device_ + " && mkfs.ext4 -q '" + image_ + "' && mkdir " + point() +
                    " && mount -o loop '" + image_ + "' " + point()));
    const std::string mounted = LoopTestBed::output("findmnt -no SOURCE " + point());
    EXPECT_EQ(restoreIt(ZFI_RESTORE_CHECK).device, mounted);
    EXPECT_EQ(restoreIt().status, ZFI_ERR_BUSY);
    ASSERT_TRUE(run("umount " + point()));
    EXPECT_TRUE(isAttached(mounted));
    expectRestored(mounted);
}

TEST_F(LoopRestoreTest, AnOriginInUseIsBusyAndOnlyLookedAt) {
    LoopTestBed::enterPrivateMounts();
    make(bed_->directory());
    ASSERT_TRUE(run("mkfs.ext4 -q " + device_ + " && mkdir " + point() + " && mount " + device_ + " " + point()));
    EXPECT_EQ(restoreIt(ZFI_RESTORE_CHECK).status, ZFI_OK);
    const Restored refused = restoreIt();
    EXPECT_EQ(refused.status, ZFI_ERR_BUSY);
    EXPECT_EQ(refused.left, ZFI_RESTORE_UNTOUCHED);
    ASSERT_TRUE(run("umount " + point() + " && ! cmp -s '" + image_ + "' '" + copy_ + "'"));
}

TEST_F(LoopRestoreTest, WhoeverIsJustLettingGoIsWaitedFor) {
    make(bed_->directory());
    const int holder = ::open(device_.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    ASSERT_GE(holder, 0);
    EXPECT_EQ(restoreIt().status, ZFI_ERR_BUSY);
    EXPECT_FALSE(isRestored());
    std::thread leaving([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ::close(holder);
    });
    expectRestored(device_);
    leaving.join();
}

TEST_F(LoopRestoreTest, WhatIsNotTheOriginAnyMoreIsRefused) {
    make(bed_->directory());
    const std::string q = "'" + image_ + "'";
    ASSERT_TRUE(run("truncate -s +4096 " + q));
    expectRefused("grown");
    ASSERT_TRUE(run("truncate -s -8192 " + q));
    expectRefused("shrunk");
    ASSERT_TRUE(run("truncate -s +4096 " + q));
    if (run("chattr +i " + q)) {
        expectRefused("immutable");
        ASSERT_TRUE(run("chattr -i " + q));
    }
    const std::string second = bed_->attach(image_);
    expectRefused("attached twice", ZFI_ERR_BUSY);
    ASSERT_TRUE(run("losetup -d " + second + " && losetup -d " + device_));
    const std::string part = bed_->attach(image_, "-o 4096");
    expectRefused("another part");
    ASSERT_TRUE(run("losetup -d " + part));
    const std::string readOnly = bed_->attach(image_, "-r");
    expectRefused("read-only");
    ASSERT_TRUE(run("losetup -d " + readOnly));
    ASSERT_TRUE(run("mv " + q + " " + q + ".away && cp " + q + ".away " + q));
    expectRefused("replaced");
    ASSERT_TRUE(run("ln -sf " + q + ".away " + q));
    expectRefused("a link");
    ASSERT_TRUE(run("mv " + q + ".away " + q));
    EXPECT_EQ(restoreIt().left, ZFI_RESTORE_WHOLE);
}

TEST_F(LoopRestoreTest, WhatIsNotTheSnapshotAnyMoreIsRefused) {
    LoopTestBed::enterPrivateMounts();
    make(bed_->directory());
    const std::string q = "'" + copy_ + "'";
    ASSERT_TRUE(run("mkfs.ext4 -q " + snapshot_ + " && mkdir " + point() + " && mount " + snapshot_ + " " + point()));
    expectRefused("written to", ZFI_ERR_BUSY);
    ASSERT_TRUE(run("mount -o remount,ro " + point()));
    EXPECT_EQ(restoreIt(ZFI_RESTORE_CHECK).status, ZFI_OK);
    drop();
    ASSERT_TRUE(run("umount " + point() + " && losetup -d " + snapshot_));
    ASSERT_TRUE(run("mv " + q + " " + q + ".away"));
    expectRefused("missing");
    ASSERT_TRUE(run("cp " + q + ".away " + q));
    expectRefused("another file");
    ASSERT_TRUE(run("mv -f " + q + ".away " + q + " && truncate -s -4096 " + q));
    expectRefused("cut short");
}

TEST_F(LoopRestoreTest, ARecordThatDoesNotTellIsRefused) {
    make(bed_->directory());
    const std::string whole = blob_;
    blob_ = blob_.substr(0, blob_.find("image-inode"));
    expectRefused("an older record");
    blob_ = whole;
    const std::string key = "image-born ";
    const auto at = blob_.find(key) + key.size();
    if (blob_[at] != '0') {
        blob_[at] = blob_[at] == '1' ? '2' : '1';
        expectRefused("the number of a file that is gone was given to another one");
    }
    blob_ = whole;
}

TEST_F(LoopRestoreTest, WithoutSpaceNothingIsChanged) {
    const std::string small = bed_->directory() + "/cloning";
    fs::create_directory(small);
    LoopTestBed::enterPrivateMounts();
    ASSERT_TRUE(run("mount -t tmpfs -o size=40m none " + small));
    make(small);
    ASSERT_TRUE(run("fallocate -p -o 0 -l 6M '" + image_ + "'"));  // what the snapshot has is a hole now
    EXPECT_FALSE(run("cat /dev/zero > " + small + "/filler"));
    expectRefused("no space");
    ASSERT_TRUE(run("rm " + small + "/filler"));
    expectRestored(device_);
}

TEST_F(LoopRestoreTest, NullArgumentsAndUnknownNodesAreRefused) {
    make(bed_->directory());
    long left = -1;
    long count = 0;
    char** targets = nullptr;
    Node origin(device_);
    Node snapshot(snapshot_);
    znfi_objid* objects[] = {origin.domain.objid};
    znfi_objid* snapshots[] = {snapshot.domain.objid};
    EXPECT_EQ(provider_->restore(nullptr, snapshots, 1, nullptr, nullptr, &targets, &count, 0, &left), 3);
    EXPECT_EQ(provider_->restore(objects, nullptr, 1, nullptr, nullptr, &targets, &count, 0, &left), 3);
    EXPECT_EQ(provider_->restore(objects, snapshots, 0, nullptr, nullptr, &targets, &count, 0, &left), 3);
    EXPECT_EQ(provider_->restore(objects, snapshots, 1, nullptr, nullptr, nullptr, &count, 0, &left), 3);
    EXPECT_EQ(provider_->restore(objects, snapshots, 1, nullptr, nullptr, &targets, &count, 0, nullptr), 3);
    EXPECT_EQ(provider_->restore(objects, snapshots, 1, nullptr, nullptr, &targets, &count, 0, &left), 6);
    ASSERT_EQ(restore(origin, blob_), ZFI_OK);
    std::string id = "t";
    EXPECT_EQ(provider_->restore(objects, snapshots, 1, id.data(), nullptr, &targets, &count, 0, &left), 6);
    EXPECT_EQ(provider_->restore(objects, objects, 1, nullptr, nullptr, &targets, &count, 0, &left), 6);
    provider_->deinit_node(&origin.domain);
    EXPECT_FALSE(isRestored());
}

}  // namespace
}  // namespace loopfi
