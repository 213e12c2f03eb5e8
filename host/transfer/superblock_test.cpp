#include "host/transfer/superblock.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

TEST(Superblock, TheSameFileSystemIsTaken) {
    EXPECT_TRUE(refuseOther({"xfs", "u1"}, {"xfs", "u1"}, "d"));
    EXPECT_TRUE(refuseOther({"ext2", "u1"}, {"ext4", "u1"}, "d")) << "mounted under another name of its family";
    EXPECT_TRUE(refuseOther({"xfs", ""}, {"xfs", "u2"}, "d")) << "nobody recorded which one";
    EXPECT_TRUE(refuseOther({}, {"xfs", "u2"}, "d"));
}

TEST(Superblock, AnotherOneIsRefused) {
    for (const Superblock& found : {Superblock{"ext4", "u1"}, Superblock{"xfs", "u2"}, Superblock{"xfs", ""}}) {
        const Status status = refuseOther({"xfs", "u1"}, found, "d");
        ASSERT_FALSE(status);
        EXPECT_EQ(status.failure().code, ExitCode::kUnsupported);
    }
}

TEST(Superblock, WhatCannotBeReadIsAFailure) {
    EXPECT_FALSE(superblockOn("/nonexistent"));
}

}  // namespace
}  // namespace tarnctl
