// Frozen is frozen: the kernel refuses a second freeze, and a write waits until the thaw.
#include "machine/blocked_writer.h"
#include "machine/kernel_freeze.h"
#include "machine/thaw_guard.h"
#include "plugin_road.h"

namespace road {
namespace {

class Quiesce : public PluginRoad {};

TEST_F(Quiesce, an_xfs_is_frozen_and_a_write_waits_for_the_thaw) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string point = at("data");
    disk("xfs").mountAt(point);
    fill(point);
    Node& node = initialised(point);
    ASSERT_NE(node->quiesce, nullptr);
    const ThawGuard guard({point});
    BlockedWriter writer(point + "/written");

    ASSERT_EQ(call().quiesce(node->quiesce, nullptr, 0, nullptr), ZFI_OK);
    EXPECT_EQ(freeze(point), EBUSY);
    writer.start();
    EXPECT_TRUE(writer.isHeldBack());
    EXPECT_TRUE(isFilled(point)) << "reading goes on";

    call().unquiesce(node->quiesce, nullptr, 0);
    EXPECT_EQ(thaw(point), EINVAL);
    EXPECT_TRUE(writer.completes());
    EXPECT_TRUE(isWritable(point));
}

TEST_F(Quiesce, a_frozen_file_system_stays_frozen_after_a_second_quiesce_that_fails) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string point = at("data");
    disk("xfs").mountAt(point);
    Node& node = initialised(point);
    const ThawGuard guard({point});
    ASSERT_EQ(freeze(point), 0);
    EXPECT_EQ(call().quiesce(node->quiesce, nullptr, 0, nullptr), ZFI_ERR_FAILED);
    EXPECT_EQ(freeze(point), EBUSY);
    EXPECT_EQ(thaw(point), 0);
}

TEST_F(Quiesce, of_two_nodes_only_the_first_is_frozen_and_thawed) {
    ROAD_NEEDS_TYPE("xfs");
    const std::string first = at("first");
    const std::string second = at("second");
    disk("xfs", "first").mountAt(first);
    disk("xfs", "second").mountAt(second);
    const ThawGuard guard({first, second});
    zfi_quiescenode* list[] = {initialised(first)->quiesce, initialised(second)->quiesce};

    ASSERT_EQ(call().quiesce(nullptr, list, 2, nullptr), ZFI_OK);
    EXPECT_EQ(freeze(first), EBUSY);
    EXPECT_TRUE(isWritable(second));

    EXPECT_EQ(freeze(second), 0);
    call().unquiesce(nullptr, list, 2);
    EXPECT_TRUE(isWritable(first));
    EXPECT_EQ(thaw(second), 0) << "the second one was not thawed";
}

TEST_F(Quiesce, an_ext3_is_left_alone) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    disk("ext3").mountAt(point);
    Node& node = initialised(point);
    EXPECT_EQ(node->quiesce, nullptr);
    zfi_quiescenode record{nullptr, node, nullptr};
    const ThawGuard guard({point});
    EXPECT_EQ(call().quiesce(&record, nullptr, 0, nullptr), ZFI_OK);
    EXPECT_EQ(thaw(point), EINVAL);
    EXPECT_TRUE(isWritable(point));
}

}  // namespace
}  // namespace road
