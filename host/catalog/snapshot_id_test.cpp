#include "host/catalog/snapshot_id.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnctl {
namespace {

TEST(SnapshotId, isShortAndPlain) {
    const std::string id = snapshotId(1'790'000'000'123, 0xABCDEF01);
    EXPECT_EQ(id.size(), 14U);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz-"), std::string::npos) << id;
}

TEST(SnapshotId, sortsAsTheTimeDoes) {
    const std::int64_t times[] = {0, 31, 32, 1'790'000'000'000, 1'790'000'000'001, 4'000'000'000'000};
    for (std::size_t i = 1; i < std::size(times); ++i) {
        EXPECT_LT(snapshotId(times[i - 1], 0xFFFFF), snapshotId(times[i], 0)) << times[i];
    }
}

TEST(SnapshotId, givesItsTimeBack) {
    EXPECT_EQ(millisecondsOfSnapshotId(snapshotId(1'790'000'000'123, 7)), 1'790'000'000'123);
    for (const char* text :
         {"", "x", "000000000-00000", "000000000_0000", "00000000u-0000", "000000000-000U", "../etc/passwd0"}) {
        EXPECT_EQ(millisecondsOfSnapshotId(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace tarnctl
