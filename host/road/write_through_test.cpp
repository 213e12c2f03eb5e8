#include "host/road/write_through.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

TEST(CannotBeFrozen, IsSaidOfWhatTheKernelHasNoFreezeFor) {
    for (const char* type : {"nfs", "nfs4", "jffs2"}) {
        EXPECT_TRUE(cannotBeFrozen(type)) << type;
    }
}

TEST(CannotBeFrozen, IsNotSaidOfTheOthers) {
    for (const char* type : {"ext2", "ext3", "ext4", "jfs", "reiserfs", "xfs", "", "tmpfs", "xnfs"}) {
        EXPECT_FALSE(cannotBeFrozen(type)) << type;
    }
}

TEST(SyncUndo, ComesBackFromTheCatalogAsItWas) {
    const SyncUndo undo{"tarnfi", "/mnt/d\xC3\xA4ta\xFF", 0x801, "rw,noatime,rw,attr2"};
    const StepRecord step{{"id", 1}, intentOf(step::kSync, undo), StepState::kIntended, {}, 0, {}, {}};
    const auto read = syncUndoOf(step);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->provider, undo.provider);
    EXPECT_EQ(read->mountPoint, undo.mountPoint);
    EXPECT_EQ(read->fsDevice, undo.fsDevice);
    EXPECT_EQ(read->options, undo.options);
}

}  // namespace
}  // namespace tarnctl
