#include "host/transfer/standing.h"

#include <gtest/gtest.h>

#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class StandingTest : public testing::Test {
  protected:
    void SetUp() override {
        auto opened = Catalog::open(folder_.at("catalog/snapshots.db"));
        ASSERT_TRUE(opened);
        catalog_.emplace(std::move(*opened));
        id_ = catalog_->createSnapshot({"/a", "/dev/loop1", "xfs"}, Consistency::kFrozen)->id;
        ASSERT_TRUE(catalog_->setState(id_, SnapshotState::kReady));
    }

    StepKey intend(const StepIntent& intent) { return *catalog_->intend(id_, intent); }
    StepKey mount(const std::string& at) {
        return intend(intentOf(step::kMount, MountUndo{"tarnfi", "/a", at, "/dev/loop7", std::nullopt}));
    }
    StepKey attach() { return intend(intentOf(step::kAttach, AttachUndo{"loopfi", "/dev/loop1", "tarnfi-x"})); }
    StepKey umount(const Superblock& seen = {}) { return intend(intentOf(step::kUmount, seen)); }
    void finish(const StepKey& step, StepOutcome outcome = StepOutcome::kDone) {
        ASSERT_TRUE(catalog_->finish({step, outcome, {}}));
    }
    Standing standing() { return *standingOf(*catalog_, *catalog_->snapshot(id_)); }

    TemporaryFolder folder_;
    std::optional<Catalog> catalog_;
    std::string id_;
};

TEST_F(StandingTest, FollowsTheStepsDownAndUp) {
    const StepKey first = mount("/a_alt");
    finish(first);
    EXPECT_EQ(standing().state, "ready");
    EXPECT_EQ(standing().mounted->alternate, "/a_alt");
    const StepKey down = umount({"xfs", "u1"});
    EXPECT_EQ(standing().state, "unmounting");
    EXPECT_EQ(standing().unfinishedUmount.size(), 1u);
    ASSERT_TRUE(catalog_->undone(first));
    EXPECT_EQ(standing().state, "unmounting");
    finish(down);
    EXPECT_EQ(standing().state, "unmounted");
    EXPECT_FALSE(standing().mounted);
    EXPECT_EQ(standing().lastMounted->alternate, "/a_alt");
    EXPECT_EQ(standing().superblock->uuid, "u1");
    const StepKey attached = attach();
    EXPECT_EQ(standing().state, "mounting");
    finish(attached);
    EXPECT_EQ(standing().state, "mounting");
    const StepKey second = mount("/b");
    EXPECT_EQ(standing().state, "mounting");
    finish(second);
    EXPECT_EQ(standing().state, "ready");
    EXPECT_EQ(standing().mounted->alternate, "/b");
}

TEST_F(StandingTest, AnUnmountThatFailedWithoutEffectLeavesItMounted) {
    finish(mount("/a_alt"));
    finish(umount(), StepOutcome::kFailed);
    EXPECT_EQ(standing().state, "ready");
    EXPECT_FALSE(standing().superblock) << "nothing was seen";
}

TEST_F(StandingTest, OtherStatesOfTheRecordStay) {
    finish(mount("/a_alt"));
    for (const SnapshotState state : {SnapshotState::kMaking, SnapshotState::kDeleting, SnapshotState::kGone}) {
        ASSERT_TRUE(catalog_->setState(id_, state));
        EXPECT_EQ(standing().state, nameOf(state));
    }
}

TEST_F(StandingTest, AnImportedOneKnowsWhereItComesFrom) {
    finish(intend(intentOf(step::kImport, ImportFacts{"1k9x4m2ph-7q3d", "alpha", "/f", {"ext4", "u2"}, {}})));
    EXPECT_EQ(standing().imported->host, "alpha");
    EXPECT_EQ(standing().imported->file, "/f");
    EXPECT_EQ(standing().superblock->uuid, "u2");
}

}  // namespace
}  // namespace tarnctl
