#include "host/mounts/mount_table.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <string>

namespace tarnctl {
namespace {

MountTable recorded(const std::string& name) {
    Result<MountTable> table = MountTable::readFrom(TARN_MOUNTS_TESTDATA "/" + name + ".mountinfo");
    if (!table) {
        ADD_FAILURE() << table.failure().cause;
        std::abort();
    }
    return std::move(*table);
}

TEST(MountTable, decodesEscapesAndKeepsBytes) {
    const MountTable table = recorded("escapes");
    for (const char* point : {"/mnt/a b", "/mnt/tab\there", "/mnt/line\nbreak", "/mnt/hash#tag", "/mnt/back\\slash",
                              "/mnt/größe", "/mnt/\"quoted\"", "/mnt/latin\xe9", "/mnt/literal\\040"}) {
        const MountEntry* entry = table.visibleAt(point);
        ASSERT_NE(entry, nullptr) << point;
        EXPECT_EQ(entry->type, "tmpfs");
    }
    EXPECT_EQ(table.visibleAt("/mnt/literal "), nullptr);
    EXPECT_EQ(table.visibleAt("/mnt/\"quoted\"")->source, "odd source");
    EXPECT_EQ(table.visibleAt("/mnt/literal\\040")->source, "#tmpfs");
}

TEST(MountTable, givesEveryField) {
    const MountTable table = recorded("overmounts");
    const MountEntry* safe = table.visibleAt("/mnt/safe");
    ASSERT_NE(safe, nullptr);
    EXPECT_EQ(safe->id, 72);
    EXPECT_EQ(safe->parentId, 63);
    EXPECT_EQ(safe->device, makedev(0, 47));
    EXPECT_EQ(safe->root, "/");
    EXPECT_EQ(safe->options, "ro,nosuid,nodev,noexec,relatime");
    EXPECT_EQ(safe->superOptions, "rw,size=64k");
    EXPECT_TRUE(safe->isReadOnly && safe->noSuid && safe->noDev && safe->noExec);
    const MountEntry* plain = table.visibleAt("/mnt/plain");
    EXPECT_FALSE(plain->isReadOnly || plain->noSuid || plain->noDev || plain->noExec);
    EXPECT_EQ(table.withId(72), safe);
    EXPECT_EQ(table.withId(7200), nullptr);
    EXPECT_EQ(deviceNumberText(safe->device), "0:47");
}

TEST(MountTable, theNewestOfAStackIsSeen) {
    const MountTable table = recorded("overmounts");
    const auto twice = table.allAt("/mnt/twice");
    ASSERT_EQ(twice.size(), 2U);
    EXPECT_EQ(table.visibleAt("/mnt/twice"), twice[1]);
    EXPECT_EQ(table.covering(*twice[0]), twice[1]);
    EXPECT_EQ(table.covering(*twice[1]), nullptr);
    EXPECT_EQ(table.visibleAt("/mnt/twice/in")->parentId, twice[1]->id);
}

TEST(MountTable, aMountAboveHidesWhatIsBelow) {
    const MountTable table = recorded("overmounts");
    const auto data = table.allAt("/mnt/data");
    const auto sub = table.allAt("/mnt/data/sub");
    ASSERT_EQ(data.size(), 2U);
    ASSERT_EQ(sub.size(), 1U);
    EXPECT_EQ(table.visibleAt("/mnt/data/sub"), nullptr);
    EXPECT_EQ(table.covering(*sub[0]), data[1]);
    EXPECT_EQ(table.reachedBy("/mnt/data/sub/x"), data[1]);
}

TEST(MountTable, aNameThatBeginsAlikeCoversNothing) {
    const MountTable table = recorded("overmounts");
    EXPECT_EQ(table.reachedBy("/mnt/plainer/x")->point, "/mnt");
    EXPECT_EQ(table.reachedBy("/mnt/plain2/dataset/x")->point, "/mnt/plain2/dataset");
    EXPECT_EQ(table.reachedBy("/mnt/plain2/data")->point, "/mnt/plain2");
    EXPECT_EQ(table.reachedBy("/")->point, "/");
    EXPECT_EQ(table.reachedBy("/etc/fstab")->point, "/");
}

TEST(MountTable, bindMountsShareADevice) {
    const MountTable table = recorded("overmounts");
    const MountEntry* bound = table.visibleAt("/mnt/bound");
    ASSERT_NE(bound, nullptr);
    EXPECT_EQ(bound->root, "/dir");
    const auto all = table.ofDevice(bound->device);
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0]->point, "/mnt/plain");
}

TEST(MountTable, linesOfAnyLength) {
    const MountTable table = recorded("long_line");
    const MountEntry* after = table.visibleAt("/mnt/after");
    ASSERT_NE(after, nullptr);
    ASSERT_EQ(table.entries().size(), 4U);
    EXPECT_GT(table.entries()[2].point.size(), 3000U);
    EXPECT_EQ(table.entries()[2].point.find("\\040"), std::string::npos);
    EXPECT_EQ(table.visibleAt(table.entries()[2].point), &table.entries()[2]);
}

TEST(MountTable, subvolumesPropagationAndOddSources) {
    const MountTable table = recorded("btrfs");
    EXPECT_EQ(table.visibleAt("/home")->root, "/home");
    EXPECT_EQ(table.ofDevice(makedev(0, 23)).size(), 3U);
    EXPECT_EQ(table.visibleAt("/boot")->device, makedev(252, 2));
    EXPECT_EQ(table.visibleAt("/srv/nfs")->source, "files.example:/export/a=b");
    EXPECT_EQ(table.visibleAt("/srv/nfs")->type, "nfs4");
    EXPECT_EQ(table.visibleAt("/srv/empty")->source, "");
    EXPECT_TRUE(table.visibleAt("/home/.snapshots")->isReadOnly);
}

TEST(MountTable, aTableThatCannotBeReadOrParsedIsAFailure) {
    const Result<MountTable> missing = MountTable::readFrom(TARN_MOUNTS_TESTDATA "/missing");
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.failure().cause.find("No such file"), std::string::npos);
    const Result<MountTable> broken = MountTable::readFrom(TARN_MOUNTS_TESTDATA "/broken.mountinfo");
    ASSERT_FALSE(broken);
    EXPECT_NE(broken.failure().cause.find("cannot be parsed"), std::string::npos);
}

TEST(MountTable, readsThisProcesssTable) {
    const Result<MountTable> table = MountTable::read();
    ASSERT_TRUE(table);
    EXPECT_NE(table->visibleAt("/proc"), nullptr);
}

}  // namespace
}  // namespace tarnctl
