// Mounting a node at its path, unmounting it, and disposing of it.
#include <sys/stat.h>

#include <filesystem>

#include "machine/file_user.h"
#include "plugin_road.h"

namespace road {
namespace {

class Online : public PluginRoad {
  protected:
    int mountNode(zfi_domain* node) { return call().online(nullptr, node, ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP); }
    int umountNode(zfi_domain* node, zfi_disposition disposition = ZFI_DISPOSITION_KEEP) {
        return call().online(nullptr, node, ZFI_ONLINE_UMOUNT, disposition);
    }
};

class OnlineByType : public Online, public testing::WithParamInterface<const char*> {};

TEST_P(OnlineByType, a_node_goes_and_comes_back_with_its_options) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("data");
    Disk& data = disk(GetParam());
    data.mountAt(point, "rw,noatime,nosuid");
    fill(point);
    const std::set<std::string> before = mountAt(point)->options;
    ASSERT_TRUE(before.contains("noatime") && before.contains("nosuid"));
    Node& node = initialised(point);
    EXPECT_EQ(mountNode(node), ZFI_OK) << "it is mounted already";
    EXPECT_EQ(data.points().size(), 1U);

    ASSERT_EQ(umountNode(node), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_TRUE(std::filesystem::is_directory(point)) << "kept";
    EXPECT_EQ(umountNode(node, ZFI_DISPOSITION_REMOVE), ZFI_OK) << "nothing is mounted: nothing is removed";
    EXPECT_TRUE(std::filesystem::is_directory(point));

    ASSERT_EQ(mountNode(node), ZFI_OK);
    ASSERT_TRUE(isMounted(point));
    EXPECT_EQ(mountAt(point)->options, before);
    EXPECT_TRUE(isFilled(point));
}

TEST_P(OnlineByType, its_mount_point_is_removed_with_it_and_made_again) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("data");
    Disk& data = disk(GetParam());
    data.mountAt(point);
    fill(point);
    Node& node = initialised(point);
    ASSERT_EQ(umountNode(node, ZFI_DISPOSITION_REMOVE), ZFI_OK);
    EXPECT_FALSE(std::filesystem::exists(point));
    ASSERT_EQ(mountNode(node), ZFI_OK);
    EXPECT_TRUE(isFilled(point));
}

INSTANTIATE_TEST_SUITE_P(Types, OnlineByType, testing::Values("ext2", "ext3", "jfs", "reiserfs", "xfs"), typeName);

TEST_F(Online, a_device_that_is_mounted_elsewhere_is_not_mounted_twice) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    data.mountAt(at("data"));
    Node& node = initialised(at("data"));
    unmountAll(at("data"));
    data.mountAt(at("elsewhere"));
    EXPECT_EQ(mountNode(node), ZFI_ERR_BUSY);
    EXPECT_EQ(data.points(), std::vector<std::string>{at("elsewhere")});
}

TEST_F(Online, a_busy_file_system_stays_mounted_with_its_directory) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    data.mountAt(at("data"));
    Node& node = initialised(at("data"));
    FileUser user(at("data"));
    EXPECT_EQ(umountNode(node, ZFI_DISPOSITION_REMOVE), ZFI_ERR_UMOUNT_FAILED);
    EXPECT_TRUE(isMounted(at("data")));
    EXPECT_TRUE(user.isAlive());
}

TEST_F(Online, a_device_without_a_file_system_does_not_mount) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    data.mountAt(at("data"));
    Node& node = initialised(at("data"));
    unmountAll(at("data"));
    mustRun("wipefs -q -a " + data.device());
    EXPECT_EQ(mountNode(node), ZFI_ERR_MOUNT_FAILED);
    EXPECT_FALSE(isMounted(at("data")));
}

TEST_F(Online, dispose_unmounts_and_removes_and_may_be_repeated) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string point = at("data_alt");
    Disk& data = disk("xfs");
    data.mountAt(point);
    Node& node = initialised(point);
    EXPECT_EQ(call().dispose(nullptr, node, nullptr, ZFI_DISPOSITION_KEEP), ZFI_OK);
    EXPECT_TRUE(isMounted(point));
    ASSERT_EQ(call().dispose(nullptr, node, nullptr, ZFI_DISPOSITION_REMOVE), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_FALSE(std::filesystem::exists(point));
    EXPECT_EQ(call().dispose(nullptr, node, nullptr, ZFI_DISPOSITION_REMOVE), ZFI_OK);
}

TEST_F(Online, dispose_of_a_mount_point_with_something_below_the_mount_keeps_that) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data_alt");
    std::filesystem::create_directory(point);
    mustRun("echo precious > " + point + "/below");
    Disk& data = disk("ext3");
    data.mountAt(point);
    Node& node = initialised(point);
    EXPECT_EQ(call().dispose(nullptr, node, nullptr, ZFI_DISPOSITION_REMOVE), ZFI_ERR_RMDIR_FAILED);
    EXPECT_TRUE(data.points().empty());
    EXPECT_EQ(mustRun("cat " + point + "/below"), "precious\n");
}

}  // namespace
}  // namespace road
