// A snapshot's place beside its origin, and that nothing is left of it afterwards.
#include <filesystem>

#include "plugin_road.h"

namespace road {
namespace {

class Alternate : public PluginRoad {
  protected:
    // Mounts the snapshot beside the node. The alternate name, or "" and the status in status_.
    std::string build(zfi_domain* node, const Disk& snapshot) {
        znfi_objid* snapshots[] = {objid(snapshot.device())};
        znfi_objid* alternate = nullptr;
        char request[] = "request";
        status_ = call().build_alttree(node, request, nullptr, snapshots, 1, &alternate);
        return status_ == ZFI_OK && alternate != nullptr ? alternate->name : "";
    }
    // The node of the alternate name, filled as a framework fills it.
    Node& alternateNode(zfi_domain* origin, const std::string& name) {
        Node& made = node(name);
        EXPECT_EQ(call().init_altnode(origin, nullptr, made), ZFI_OK);
        return made;
    }

    int status_ = 0;
};

class AlternateByType : public Alternate, public testing::WithParamInterface<const char*> {};

// The origin stays mounted, so that the kernel sees two file systems with one UUID.
TEST_P(AlternateByType, the_snapshot_is_the_origin_read_only) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("data");
    Disk& origin = disk(GetParam());
    origin.mountAt(point);
    fill(point);
    unmountAll(point);
    Disk& snapshot = copyOf(origin, "snapshot");
    origin.mountAt(point);
    Node& node = initialised(point);
    mustRun("echo changed > " + point + "/name");

    ASSERT_EQ(build(node, snapshot), at("data_alt")) << status_;
    EXPECT_EQ(snapshot.points(), std::vector<std::string>{at("data_alt")});
    EXPECT_TRUE(isFilled(at("data_alt")));
    EXPECT_FALSE(isFilled(point)) << "the origin went on";
    EXPECT_TRUE(isReadOnly(at("data_alt")));
    EXPECT_NE(stateOf(node).find("<ALT_NAME>" + at("data_alt") + "</ALT_NAME>"), std::string::npos) << stateOf(node);

    Node& alternate = alternateNode(node, at("data_alt"));
    EXPECT_NE(stateOf(alternate).find("<DEV_NAME>" + snapshot.device() + "</DEV_NAME>"), std::string::npos);
    EXPECT_EQ(call().dispose(nullptr, alternate, nullptr, ZFI_DISPOSITION_REMOVE), ZFI_OK);
    EXPECT_TRUE(snapshot.points().empty());
    EXPECT_FALSE(std::filesystem::exists(at("data_alt")));
    EXPECT_TRUE(isWritable(point));
}

INSTANTIATE_TEST_SUITE_P(Types, AlternateByType, testing::Values("ext2", "ext3", "jfs", "reiserfs", "xfs"), typeName);

TEST_F(Alternate, names_count_up_and_a_free_one_is_used_again) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string point = at("data");
    Disk& origin = disk("xfs");
    origin.mountAt(point);
    fill(point);
    unmountAll(point);
    std::vector<const Disk*> snapshots;
    for (const char* name : {"one", "two", "three", "four"}) {
        snapshots.push_back(&copyOf(origin, name));
    }
    origin.mountAt(point);
    Node& node = initialised(point);

    EXPECT_EQ(build(node, *snapshots[0]), at("data_alt"));
    EXPECT_EQ(build(node, *snapshots[1]), at("data_alt0"));
    EXPECT_EQ(build(node, *snapshots[2]), at("data_alt1"));
    for (const char* name : {"data_alt", "data_alt0", "data_alt1"}) {
        EXPECT_TRUE(isFilled(at(name))) << name;
        EXPECT_TRUE(isReadOnly(at(name))) << name;
    }
    EXPECT_EQ(mountAt(at("data_alt0"))->device, snapshots[1]->device());

    zfi_accessnode reached{nullptr, 1, 0};
    EXPECT_EQ(call().deport_tree(node, alternateNode(node, at("data_alt0")), &reached), ZFI_OK);
    EXPECT_EQ(build(node, *snapshots[3]), at("data_alt0"));
}

TEST_F(Alternate, deport_leaves_nothing_and_may_be_repeated) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    Disk& origin = disk("ext3");
    Disk& snapshot = copyOf(origin, "snapshot");
    origin.mountAt(point);
    Node& node = initialised(point);
    const std::string name = build(node, snapshot);
    ASSERT_EQ(name, at("data_alt"));
    Node& alternate = alternateNode(node, name);

    zfi_accessnode notReached{nullptr, 0, 0};
    EXPECT_EQ(call().deport_tree(node, alternate, &notReached), ZFI_OK);
    EXPECT_TRUE(isMounted(name)) << "nothing was imported here";
    zfi_accessnode reached{nullptr, 1, 0};
    EXPECT_EQ(call().deport_tree(node, alternate, &reached), ZFI_OK);
    EXPECT_TRUE(snapshot.points().empty());
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(call().deport_tree(node, alternate, &reached), ZFI_OK);
    EXPECT_TRUE(isMounted(point));
}

TEST_F(Alternate, a_requested_name_is_used_or_refused) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    Disk& origin = disk("ext3");
    Disk& snapshot = copyOf(origin, "snapshot");
    origin.mountAt(point);
    const std::string wanted = at("a/place/of/its/own");
    Node& node = initialised(point, wanted);
    EXPECT_EQ(build(node, snapshot), wanted);
    EXPECT_TRUE(isReadOnly(wanted));

    Disk& second = copyOf(snapshot, "second");
    EXPECT_EQ(build(node, second), "");
    EXPECT_EQ(status_, ZFI_ERR_INVALID_ARGUMENT) << "something is mounted there";
    EXPECT_TRUE(second.points().empty());
    EXPECT_EQ(mountAt(wanted)->device, snapshot.device());

    Node& relative = initialised(point, "relative");
    EXPECT_EQ(build(relative, second), "");
    EXPECT_EQ(status_, ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_TRUE(second.points().empty());
}

TEST_F(Alternate, a_snapshot_that_cannot_be_mounted_leaves_no_mount_and_no_name) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    disk("ext3").mountAt(point);
    Node& node = initialised(point);
    const Disk& empty = emptyDisk(Disk::kSmall, "empty");
    EXPECT_EQ(build(node, empty), "");
    EXPECT_EQ(status_, ZFI_ERR_FAILED);
    EXPECT_TRUE(empty.points().empty());
    EXPECT_NE(stateOf(node).find("<ALT_NAME></ALT_NAME>"), std::string::npos) << stateOf(node);
}

TEST_F(Alternate, the_path_of_an_alternate_node_is_looked_for) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    Disk& origin = disk("ext3");
    origin.mountAt(point);
    Node& node = initialised(point);
    const auto reaccess = [&](zfi_intent intent) {
        return call().reaccess_altnode(node, objid(at("data_alt")), nullptr, nullptr, nullptr, nullptr, 0, intent);
    };
    EXPECT_EQ(reaccess(ZFI_INTENT_READ), ZFI_ERR_ALT_PATH_MISSING);
    EXPECT_EQ(reaccess(ZFI_INTENT_DESTROY), ZFI_OK);
    ASSERT_EQ(build(node, copyOf(disk("ext3", "other"), "snapshot")), at("data_alt"));
    EXPECT_EQ(reaccess(ZFI_INTENT_READ), ZFI_OK);
}

}  // namespace
}  // namespace road
