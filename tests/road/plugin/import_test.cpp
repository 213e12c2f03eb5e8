// A snapshot on the host that reads it: another device, and what the origin's host saved of the node.
#include <unistd.h>

#include <filesystem>

#include "plugin_road.h"

namespace road {
namespace {

class Import : public PluginRoad {
  protected:
    // The origin's host: a file system with content; its saved state, and a copy as its snapshot. The origin is
    // unmounted again: it is another host's.
    std::string saveOrigin(const std::string& type) {
        Disk& origin = disk(type, "origin");
        origin.mountAt(at("data"), "rw,noatime");
        fill(at("data"));
        Node& node = initialised(at("data"));
        const std::string state = stateOf(node);
        call().deinit_node(node);
        unmountAll(at("data"));
        std::filesystem::remove(at("data"));
        snapshot_ = &copyOf(origin, "snapshot");
        return state;
    }
    Node& importingNode(const std::string& state, const std::string& alternate = {}) {
        Node& made = node(at("data"), alternate);
        restoreState(made, state);
        return made;
    }
    std::string import(zfi_domain* node, const std::string& device) {
        znfi_objid* devices[] = {objid(device)};
        znfi_objid* alternate = nullptr;
        status_ = call().import_tree(node, nullptr, devices, 1, &alternate);
        return status_ == ZFI_OK && alternate != nullptr ? alternate->name : "";
    }

    Disk* snapshot_ = nullptr;
    int status_ = 0;
};

class ImportByType : public Import, public testing::WithParamInterface<const char*> {};

TEST_P(ImportByType, the_snapshot_is_there_read_only_and_goes_without_a_trace) {
    ROAD_NEEDS_TYPE(GetParam());
    Node& node = importingNode(saveOrigin(GetParam()));
    ASSERT_EQ(import(node, snapshot_->device()), at("data_alt")) << status_;
    EXPECT_EQ(snapshot_->points(), std::vector<std::string>{at("data_alt")});
    EXPECT_TRUE(isFilled(at("data_alt")));
    EXPECT_TRUE(isReadOnly(at("data_alt")));

    EXPECT_EQ(import(node, snapshot_->device()), at("data_alt")) << "it is in place already";
    EXPECT_EQ(snapshot_->points().size(), 1U);
    EXPECT_EQ(traced("Info, import tree node: mount with command").size(), 1U);

    Node& alternate = this->node(at("data_alt"));
    ASSERT_EQ(call().init_altnode(node, nullptr, alternate), ZFI_OK);
    zfi_accessnode reached{nullptr, 1, 0};
    EXPECT_EQ(call().deport_tree(node, alternate, &reached), ZFI_OK);
    EXPECT_TRUE(snapshot_->points().empty());
    EXPECT_FALSE(std::filesystem::exists(at("data_alt")));
    EXPECT_TRUE(pauses().empty());
}

INSTANTIATE_TEST_SUITE_P(Types, ImportByType, testing::Values("ext2", "ext3", "jfs", "reiserfs", "xfs"), typeName);

TEST_F(Import, a_second_snapshot_gets_the_next_name_and_a_requested_one_its_own) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string state = saveOrigin("ext3");
    Disk& second = copyOf(*snapshot_, "second");
    Disk& third = copyOf(*snapshot_, "third");
    Node& node = importingNode(state);
    EXPECT_EQ(import(node, snapshot_->device()), at("data_alt"));
    EXPECT_EQ(import(node, second.device()), at("data_alt0"));
    Node& asking = importingNode(state, at("asked/for"));
    EXPECT_EQ(import(asking, third.device()), at("asked/for"));
    for (const char* name : {"data_alt", "data_alt0", "asked/for"}) {
        EXPECT_TRUE(isFilled(at(name))) << name;
        EXPECT_TRUE(isReadOnly(at(name))) << name;
    }
    Disk& fourth = copyOf(third, "fourth");
    EXPECT_EQ(import(importingNode(state, at("asked/for")), fourth.device()), "");
    EXPECT_EQ(status_, ZFI_ERR_INVALID_ARGUMENT) << "something else is mounted there";
    EXPECT_TRUE(fourth.points().empty());
}

TEST_F(Import, a_device_that_comes_in_the_first_pause_is_mounted_after_it) {
    ROAD_NEEDS_TYPE("xfs");
    Node& node = importingNode(saveOrigin("xfs"));
    const std::string late = at("late-device");
    forgetPauses([&] { EXPECT_EQ(symlink(snapshot_->device().c_str(), late.c_str()), 0); });
    EXPECT_EQ(import(node, late), at("data_alt")) << status_;
    EXPECT_EQ(pauses(), std::vector<unsigned>{30});
    EXPECT_TRUE(isFilled(at("data_alt")));
}

TEST_F(Import, a_node_that_nothing_was_saved_of_is_not_imported) {
    ROAD_NEEDS_TYPE("ext3");
    saveOrigin("ext3");
    EXPECT_EQ(import(node(at("unknown")), snapshot_->device()), "");
    EXPECT_EQ(status_, ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_TRUE(snapshot_->points().empty());
}

}  // namespace
}  // namespace road
