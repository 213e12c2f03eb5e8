// The volumes below file systems are freed, by force where that is allowed, and come back as they were.
#include <csignal>
#include <list>

#include "machine/file_user.h"
#include "plugin_road.h"

namespace road {
namespace {

constexpr long kForce = 0x10;

class Access : public PluginRoad {
  protected:
    // Appends a node and its device.
    void list(zfi_domain* node, const Disk& disk) {
        std::vector<zfi_domain*>& devices = devices_.emplace_back();
        devices = {this->node(disk.device()), nullptr};
        zfi_node_subobj_list* previous = list_.empty() ? nullptr : &list_.back();
        list_.push_back({node, devices.data(), nullptr, nullptr});
        if (previous != nullptr) {
            previous->next = &list_.back();
        }
    }
    int disable(long flags = 0) { return call().disable_access(&list_.front(), flags); }
    int enable(int options = 0) { return call().enable_access(&list_.front(), 0, 0, options); }
    static bool isMarked(const zfi_domain* node) { return (node->state & ZFI_STATE_OFFLINE) != 0; }

    // fuser comes back before the processes that it killed are gone, so a call may find the file system still busy (32)
    // or nobody left to kill (6). Called again and again, the last one succeeds.
    int disableByForce() {
        int status = disable(kForce);
        for (int attempt = 1; status != ZFI_OK && attempt < 100; ++attempt) {
            EXPECT_TRUE(status == ZFI_ERR_FAILED || status == ZFI_ERR_BUSY) << status;
            EXPECT_FALSE(isMarked(list_.front().node)) << "marked, but still mounted";
            usleep(20000);
            status = disable(kForce);
        }
        return status;
    }

  private:
    std::list<zfi_node_subobj_list> list_;
    std::list<std::vector<zfi_domain*>> devices_;
};

class AccessByType : public Access, public testing::WithParamInterface<const char*> {};

TEST_P(AccessByType, an_idle_file_system_goes_and_comes_back_with_its_options) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("data");
    Disk& data = disk(GetParam());
    data.mountAt(point, "rw,noatime,nosuid,noexec");
    fill(point);
    const Mount before = *mountAt(point);
    ASSERT_TRUE(before.options.contains("noatime") && before.options.contains("noexec"));
    Node& node = initialised(point);
    list(node, data);

    ASSERT_EQ(disable(), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_TRUE(isMarked(node));
    EXPECT_EQ(enable(1), ZFI_OK);
    EXPECT_FALSE(isMounted(point)) << "the option asks to leave it unmounted";

    ASSERT_EQ(enable(), ZFI_OK);
    ASSERT_TRUE(isMounted(point));
    EXPECT_EQ(mountAt(point)->device, before.device);
    EXPECT_EQ(mountAt(point)->type, before.type);
    EXPECT_EQ(mountAt(point)->options, before.options);
    EXPECT_FALSE(isMarked(node));
    EXPECT_TRUE(isFilled(point));
    EXPECT_TRUE(isWritable(point));
}

TEST_P(AccessByType, a_device_that_nobody_recorded_comes_read_only_and_gets_its_node_filled) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("new/data");
    Disk& data = disk(GetParam());
    data.mountAt(at("once"));
    fill(at("once"));
    unmountAll(at("once"));
    Node& node = this->node(point);
    node->state = ZFI_STATE_OFFLINE;
    list(node, data);

    ASSERT_EQ(enable(), ZFI_OK);
    ASSERT_TRUE(isMounted(point));
    EXPECT_EQ(mountAt(point)->type, GetParam());
    EXPECT_TRUE(isReadOnly(point));
    EXPECT_TRUE(isFilled(point));
    EXPECT_NE(stateOf(node).find("<DEV_NAME>" + data.device() + "</DEV_NAME>"), std::string::npos) << stateOf(node);
    EXPECT_NE(stateOf(node).find(std::string("<FS_TYPE>") + GetParam() + "<"), std::string::npos) << stateOf(node);
}

INSTANTIATE_TEST_SUITE_P(Types, AccessByType, testing::Values("xfs", "ext3"), typeName);

TEST_F(Access, without_force_a_busy_file_system_and_its_user_stay) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    Disk& data = disk("ext3");
    data.mountAt(point);
    fill(point);
    Node& node = initialised(point);
    list(node, data);
    FileUser user(point + "/name");

    EXPECT_EQ(disable(), ZFI_ERR_BUSY);
    EXPECT_TRUE(isMounted(point));
    EXPECT_FALSE(isMarked(node));
    EXPECT_TRUE(user.isAlive());
}

TEST_F(Access, by_force_its_users_are_killed_and_nobody_else) {
    ROAD_NEEDS_TYPE("xfs");
    ROAD_NEEDS_FUSER();
    const std::string point = at("data");
    Disk& data = disk("xfs");
    data.mountAt(point, "rw,noatime");
    fill(point);
    const Mount before = *mountAt(point);
    Node& node = initialised(point);
    list(node, data);
    disk("ext3", "other").mountAt(at("other"));
    fill(at("other"));
    FileUser bystander(at("other/name"));
    FileUser ofTheFile(point + "/name");
    FileUser ofTheFolder(point);

    ASSERT_EQ(disableByForce(), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_TRUE(isMarked(node));
    EXPECT_TRUE(ofTheFile.endedBy() == SIGTERM || ofTheFile.endedBy() == SIGKILL);
    EXPECT_TRUE(ofTheFolder.endedBy() == SIGTERM || ofTheFolder.endedBy() == SIGKILL);
    EXPECT_TRUE(bystander.isAlive());

    ASSERT_EQ(enable(), ZFI_OK);
    EXPECT_EQ(mountAt(point)->options, before.options);
    EXPECT_TRUE(isFilled(point));
}

TEST_F(Access, by_force_a_user_that_does_not_heed_the_first_signal_gets_the_second) {
    ROAD_NEEDS_TYPE("ext3");
    ROAD_NEEDS_FUSER();
    const std::string point = at("data");
    Disk& data = disk("ext3");
    data.mountAt(point);
    fill(point);
    list(initialised(point), data);
    FileUser user(point + "/name", FileUser::Ending::kIgnoresTerm);

    ASSERT_EQ(disableByForce(), ZFI_OK);
    EXPECT_TRUE(data.points().empty());
    EXPECT_EQ(user.endedBy(), SIGKILL);
    EXPECT_EQ(enable(), ZFI_OK);
    EXPECT_TRUE(isFilled(point));
}

TEST_F(Access, a_list_that_stops_at_a_busy_one_goes_on_from_there) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& first = disk("ext3", "first");
    Disk& second = disk("ext3", "second");
    first.mountAt(at("first"));
    second.mountAt(at("second"));
    Node& firstNode = initialised(at("first"));
    Node& secondNode = initialised(at("second"));
    list(firstNode, first);
    list(secondNode, second);
    {
        FileUser user(at("second"));
        EXPECT_EQ(disable(), ZFI_ERR_BUSY);
        EXPECT_TRUE(first.points().empty());
        EXPECT_TRUE(isMounted(at("second")));
        EXPECT_TRUE(isMarked(firstNode));
        EXPECT_FALSE(isMarked(secondNode));
    }
    EXPECT_EQ(disable(), ZFI_OK);
    EXPECT_TRUE(second.points().empty());
    EXPECT_EQ(enable(), ZFI_OK);
    EXPECT_TRUE(isMounted(at("first")));
    EXPECT_TRUE(isMounted(at("second")));
}

TEST_F(Access, a_device_that_was_mounted_elsewhere_meanwhile_is_left_there) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    data.mountAt(at("data"));
    Node& node = initialised(at("data"));
    list(node, data);
    ASSERT_EQ(disable(), ZFI_OK);
    data.mountAt(at("elsewhere"));
    EXPECT_EQ(enable(), ZFI_ERR_BUSY);
    EXPECT_EQ(data.points(), std::vector<std::string>{at("elsewhere")});
    EXPECT_TRUE(isMarked(node));
}

}  // namespace
}  // namespace road
