#include "loop_snapshot.h"

#include <gtest/gtest.h>

namespace loopfi {
namespace {

TEST(SnapshotRecord, ComesBackFromItsText) {
    const SnapshotRecord records[] = {
        {"/dev/loop1", "/dev/loop2", "/var/images/disk.img.tarnfi-a1", {2049, 123456789}},
        {"/dev/loop1", "/dev/loop2", "/f", {1, 2}, {1048576, UINT64_MAX, 4096}, true},
        {"/dev/loop1", "", "/a b/line\nbreak\\n \\", {0, UINT64_MAX}},
        {"", "", "", {}},
        {"/dev/loop1", "/dev/loop2", "/f", {1, 2}, LoopGeometry{6, 7, 4096}, false, OriginImage{3, 4, 5}},
    };
    for (const SnapshotRecord& record : records) {
        EXPECT_EQ(SnapshotRecord::fromText(record.toText()), record) << record.toText();
    }
}

TEST(SnapshotRecord, RefusesOtherTexts) {
    const std::string good = SnapshotRecord{"/dev/loop1", "/dev/loop2", "/f", {1, 2}}.toText();
    ASSERT_TRUE(SnapshotRecord::fromText(good));
    EXPECT_FALSE(SnapshotRecord::fromText(""));
    EXPECT_FALSE(SnapshotRecord::fromText("<DEV_NAME>/dev/sda1</DEV_NAME>\n"));
    EXPECT_FALSE(SnapshotRecord::fromText("loop-snapshot 2\n" + good.substr(good.find('\n') + 1)));
    for (const char* key : {"origin", "snapshot", "file", "device", "inode"}) {
        std::string without = good;
        const auto at = without.find("\n" + std::string(key) + " ");
        without.erase(at, without.find('\n', at + 1) - at);
        EXPECT_FALSE(SnapshotRecord::fromText(without)) << key;
    }
    const std::string old = good.substr(0, good.find("\noffset ") + 1);
    ASSERT_TRUE(SnapshotRecord::fromText(old)) << "a record of before the geometry was kept";
    EXPECT_EQ(SnapshotRecord::fromText(old)->geometry, LoopGeometry{});
    EXPECT_FALSE(SnapshotRecord::fromText(old + "offset -1\n"));
    EXPECT_FALSE(SnapshotRecord::fromText(old + "block 4294967296\n"));
    std::string odd = good;
    odd.replace(odd.find("inode 2"), 7, "inode 2x");
    EXPECT_FALSE(SnapshotRecord::fromText(odd));
}

TEST(SnapshotRecord, AnImageThatIsNotToldWholeIsNone) {
    const SnapshotRecord told{"/dev/loop1", "/dev/loop2",        "/f", {1, 2}, LoopGeometry{6, 7, 4096},
                              false,        OriginImage{3, 4, 5}};
    std::string text = told.toText();
    text.replace(text.find("image-length 5"), 14, "image-length x");
    const auto read = SnapshotRecord::fromText(text);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->image);
}

TEST(DisposeSnapshot, OfNothingIsHarmless) {
    EXPECT_NO_THROW(disposeSnapshot({}));
    EXPECT_NO_THROW(disposeSnapshot({"/dev/loop1", "/dev/loop2", "/nonexistent/x.tarnfi-1", {1, 2}}));
}

TEST(FindSnapshot, GoesByTheBackingFile) {
    LoopStatus device;
    device.device = "/dev/loop1";
    device.backingFile = "/images/disk";
    EXPECT_EQ(findSnapshot(device, "a").file, "/images/disk.tarnfi-a");
    EXPECT_EQ(findSnapshot(device, "").file, "");
    device.backingFile = "/images/disk.tarnfi-a";
    EXPECT_EQ(findSnapshot(device, "a").file, "/images/disk.tarnfi-a");
    EXPECT_EQ(findSnapshot(device, "").file, "/images/disk.tarnfi-a");
    EXPECT_EQ(findSnapshot(device, "b").file, "/images/disk.tarnfi-a.tarnfi-b");
}

}  // namespace
}  // namespace loopfi
