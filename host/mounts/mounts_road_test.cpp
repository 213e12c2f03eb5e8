// Mounts and loop devices of the real kernel, in a mount name space of this program's own.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/mounts/backing_chain.h"
#include "host/mounts/preflight.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

std::string outputOf(const std::string& command) {
    struct Close {
        void operator()(FILE* file) const { pclose(file); }
    };
    const std::unique_ptr<FILE, Close> pipe(popen(command.c_str(), "re"));
    std::string text;
    for (int character = fgetc(pipe.get()); character != EOF; character = fgetc(pipe.get())) {
        text += static_cast<char>(character);
    }
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

bool succeeds(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

class MountsRoad : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root: mounts file systems and attaches loop devices";
        }
        ASSERT_EQ(unshare(CLONE_NEWNS), 0);
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    }
    void TearDown() override {
        for (auto undo = undo_.rbegin(); undo != undo_.rend(); ++undo) {
            EXPECT_TRUE(succeeds(*undo)) << *undo;
        }
    }

    void mountMemory(const std::string& point) {
        ASSERT_TRUE(succeeds("mkdir -p " + point + " && mount -t tmpfs -o size=64m tarnfi-test " + point)) << point;
        undo_.push_back("umount " + point);
    }
    // An ext4 file system in the new file `image`, mounted at `point`; the name of its loop device.
    std::string mountImage(const std::string& image, const std::string& megabytes, const std::string& point) {
        EXPECT_TRUE(succeeds("truncate -s " + megabytes + "M " + image + " && mkfs.ext4 -q -F " + image));
        const std::string loop = outputOf("losetup -f --show " + image);
        if (!loop.starts_with("/dev/loop")) {
            ADD_FAILURE() << "no loop device for " << image;
            return "";
        }
        undo_.push_back("losetup -d " + loop);
        EXPECT_TRUE(succeeds("mkdir -p " + point + " && mount " + loop + " " + point)) << point;
        undo_.push_back("umount " + point);
        return loop.substr(std::string("/dev/").size());
    }
    MountTable table() {
        Result<MountTable> read = MountTable::read();
        EXPECT_TRUE(read);
        return std::move(*read);
    }

    TemporaryFolder folder_;
    std::vector<std::string> undo_;
};

TEST_F(MountsRoad, followsImagesWithinImages) {
    mountMemory(folder_.at("memory"));
    const std::string outer = mountImage(folder_.at("memory/outer.img"), "48", folder_.at("outer"));
    const std::string inner = mountImage(folder_.at("outer/inner.img"), "8", folder_.at("inner"));
    const MountTable now = table();

    const auto chain = backingChain(deviceOf(folder_.at("inner")), now);
    ASSERT_TRUE(chain) << chain.failure().cause;
    ASSERT_EQ(chain->size(), 2U);
    EXPECT_EQ(chain->at(0).loopName, inner);
    EXPECT_EQ(chain->at(0).file, folder_.at("outer/inner.img"));
    EXPECT_EQ(chain->at(0).holder, deviceOf(folder_.at("outer")));
    EXPECT_EQ(chain->at(0).holderPoint, folder_.at("outer"));
    EXPECT_EQ(chain->at(1).loopName, outer);
    EXPECT_EQ(chain->at(1).holder, deviceOf(folder_.at("memory")));
    EXPECT_EQ(chain->at(1).holderPoint, folder_.at("memory"));
}

TEST_F(MountsRoad, aRemovedImageIsStillPlaced) {
    mountMemory(folder_.at("memory"));
    mountImage(folder_.at("memory/gone.img"), "8", folder_.at("data"));
    ASSERT_TRUE(succeeds("rm " + folder_.at("memory/gone.img")));
    const auto chain = backingChain(deviceOf(folder_.at("data")), table());
    ASSERT_TRUE(chain) << chain.failure().cause;
    ASSERT_EQ(chain->size(), 1U);
    EXPECT_EQ(chain->front().holder, deviceOf(folder_.at("memory")));
    EXPECT_EQ(chain->front().holderPoint, folder_.at("memory"));
}

TEST_F(MountsRoad, aFileInAnImageOnTheFrozenFileSystemIsOurs) {
    mountMemory(folder_.at("memory"));
    mountImage(folder_.at("memory/outer.img"), "48", folder_.at("outer"));
    mountImage(folder_.at("outer/inner.img"), "8", folder_.at("inner"));
    const MountTable now = table();
    const auto outer = checkMountPoint(now, folder_.at("outer"), {"ext4"});
    const auto inner = checkMountPoint(now, folder_.at("inner"), {"ext4"});
    ASSERT_TRUE(outer && inner);
    const std::vector<OwnPath> inInner{{"the catalog", folder_.at("inner/catalog.db")}};
    const std::vector<OwnPath> inOuter{{"the catalog", folder_.at("outer/catalog.db")}};

    const Status hidden = refuseOwnOnFrozen(now, {*outer}, inInner);
    ASSERT_FALSE(hidden);
    EXPECT_NE(hidden.failure().cause.find("in the image " + folder_.at("outer/inner.img")), std::string::npos)
        << hidden.failure().cause;
    EXPECT_TRUE(refuseOwnOnFrozen(now, {*inner}, inOuter));
    EXPECT_TRUE(refuseOwnOnFrozen(now, {*inner}, ownPaths()));
}

TEST_F(MountsRoad, seesRealOverMountsAndFlags) {
    mountMemory(folder_.at("a"));
    mountMemory(folder_.at("a/b"));
    mountMemory(folder_.at("safe"));
    ASSERT_TRUE(succeeds("mount -o remount,bind,nosuid,nodev,noexec " + folder_.at("safe")));
    EXPECT_TRUE(checkMountPoint(table(), folder_.at("a/b"), {}));
    mountMemory(folder_.at("a"));
    const MountTable now = table();
    const auto hidden = checkMountPoint(now, folder_.at("a/b"), {});
    const auto twice = checkMountPoint(now, folder_.at("a"), {});
    ASSERT_FALSE(hidden || twice);
    EXPECT_NE(hidden.failure().cause.find("hidden by the mount on"), std::string::npos);
    EXPECT_NE(twice.failure().cause.find("2 mounts"), std::string::npos);
    const MountEntry* safe = now.visibleAt(folder_.at("safe"));
    ASSERT_NE(safe, nullptr);
    EXPECT_TRUE(safe->noSuid && safe->noDev && safe->noExec);
    EXPECT_EQ(safe->device, deviceOf(folder_.at("safe")));
}

}  // namespace
}  // namespace tarnctl
