#include <gtest/gtest.h>

#include "host/freeze/fs_freeze.h"

namespace tarnctl {
namespace {

TEST(ThawCommand, NamesTheCommandOfTheType) {
    EXPECT_EQ(thawCommand("/srv/data", "xfs"), "/usr/sbin/xfs_freeze -u /srv/data");
    EXPECT_EQ(thawCommand("/srv/data", "ext4"), "/usr/sbin/fsfreeze -u /srv/data");
}

TEST(ThawCommand, QuotesWhatAShellWouldTakeApart) {
    EXPECT_EQ(thawCommand("/srv/a b", "xfs"), "/usr/sbin/xfs_freeze -u '/srv/a b'");
    EXPECT_EQ(thawCommand("/srv/it's", "xfs"), "/usr/sbin/xfs_freeze -u '/srv/it'\\''s'");
}

}  // namespace
}  // namespace tarnctl
