// The primitives that change mounts and mount points, each by itself.
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "cfiexecpipe.h"
#include "content.h"
#include "machine/file_user.h"
#include "machine_road.h"
#include "tarn_plugin.h"

namespace road {
namespace {

class BuildingBlocks : public MachineRoad {
  protected:
    int statusOf(const std::string& point) { return plugin_.getMountStatus(point.c_str()); }

    CTARNPlugin plugin_;
};

constexpr int kNotMounted = 1;
constexpr int kMounted = 2;

TEST_F(BuildingBlocks, mount_and_umount) {
    ROAD_NEEDS_TYPE("ext3");
    const Disk& data = disk("ext3");
    const std::string point = at("with a blank");
    plugin_.createMntPoint(point);
    plugin_.mount(at("with a blank"), data.device(), "ro,noatime");
    EXPECT_EQ(statusOf(point), kMounted);
    EXPECT_TRUE(isReadOnly(point));
    plugin_.umount(point);
    EXPECT_EQ(statusOf(point), kNotMounted);
    plugin_.mount(point, data.device(), "");
    EXPECT_TRUE(isWritable(point));
    EXPECT_THROW(plugin_.mount(point, data.device(), "no_such_option"), EFiExecPipe);
    plugin_.umount(point);
    EXPECT_THROW(plugin_.umount(point), EFiExecPipe) << "nothing is mounted";
}

TEST_F(BuildingBlocks, mount_points_are_made_with_their_parents_and_removed_when_empty) {
    const std::string inner = at("a/b/c");
    plugin_.createMntPoint(inner);
    EXPECT_TRUE(std::filesystem::is_directory(inner));
    plugin_.createMntPoint(inner);
    EXPECT_THROW(plugin_.removeMntPoint(at("a")), EFiExecPipe) << "it is not empty";
    EXPECT_TRUE(std::filesystem::is_directory(inner));
    plugin_.removeMntPoint(inner);
    EXPECT_FALSE(std::filesystem::exists(inner));
    EXPECT_TRUE(std::filesystem::is_directory(at("a/b")));
    EXPECT_THROW(plugin_.removeMntPoint(inner), EFiExecPipe) << "it is gone";
    mustRun("echo text > " + at("a/file"));
    EXPECT_THROW(plugin_.createMntPoint(at("a/file")), EFiExecPipe) << "a file is in its way";
    EXPECT_EQ(mustRun("cat " + at("a/file")), "text\n");
}

TEST_F(BuildingBlocks, unmount_device_tells_busy_from_done) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string point = at("data");
    Disk& data = disk("xfs");
    data.mountAt(point);
    {
        FileUser user(point);
        EXPECT_EQ(plugin_.unmountDevice(point.c_str(), 0), ZFI_ERR_BUSY);
        EXPECT_TRUE(isMounted(point));
        EXPECT_TRUE(traced("dumpInformation").empty());
    }
    EXPECT_EQ(plugin_.unmountDevice(point.c_str(), 0), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_EQ(plugin_.unmountDevice(point.c_str(), 1), ZFI_OK) << "umount fails, but nothing is mounted";
}

TEST_F(BuildingBlocks, force_unmount_kills_with_its_signal) {
    ROAD_NEEDS_TYPE("ext3");
    ROAD_NEEDS_FUSER();
    const std::string point = at("data");
    Disk& data = disk("ext3");
    data.mountAt(point);
    FileUser user(point);
    const int status = force_unmount(point.c_str(), SIGTERM);
    EXPECT_TRUE(status == ZFI_OK || status == ZFI_ERR_BUSY) << "busy: the user is not gone yet";
    EXPECT_EQ(user.endedBy(), SIGTERM);
    if (status == ZFI_ERR_BUSY) {
        EXPECT_EQ(plugin_.unmountDevice(point.c_str(), 1), ZFI_OK);
    }
    EXPECT_TRUE(data.points().empty());
}

TEST_F(BuildingBlocks, force_unmount_without_users_throws_and_leaves_the_mount) {
    ROAD_NEEDS_TYPE("ext3");
    ROAD_NEEDS_FUSER();
    disk("ext3").mountAt(at("data"));
    EXPECT_THROW(force_unmount(at("data").c_str(), SIGTERM), EFiExecPipe);
    EXPECT_TRUE(isMounted(at("data")));
}

}  // namespace
}  // namespace road
