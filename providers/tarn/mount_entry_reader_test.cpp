#include "mount_entry_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Key = MountEntryReader::Key;
using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream openTable(const std::string& name) {
    return {std::fopen((std::string(TARN_TESTDATA "/") + name).c_str(), "r"), std::fclose};
}

Stream openText(std::string& text) {
    return {fmemopen(text.data(), text.size(), "r"), std::fclose};
}

std::string textOf(const mntent& entry) {
    return std::string(entry.mnt_fsname) + '|' + entry.mnt_dir + '|' + entry.mnt_type + '|' + entry.mnt_opts;
}

// What the system library reads, with room for every line.
std::vector<std::string> systemEntries(std::FILE* stream) {
    std::vector<std::string> entries;
    std::vector<char> buffer(1 << 20);
    mntent entry = {};
    while (getmntent_r(stream, &entry, buffer.data(), static_cast<int>(buffer.size())) != nullptr) {
        entries.push_back(textOf(entry));
    }
    return entries;
}

std::vector<std::string> entriesOf(std::FILE* stream) {
    std::vector<std::string> entries;
    MountEntryReader reader(stream);
    while (const mntent* entry = reader.next()) {
        entries.push_back(textOf(*entry));
    }
    EXPECT_FALSE(reader.failed());
    return entries;
}

std::string findIn(const std::string& table, Key key, const std::string& value) {
    const Stream stream = openTable(table);
    MountEntryReader reader(stream.get());
    const mntent* entry = reader.find(key, value);
    return entry == nullptr ? "" : textOf(*entry);
}

class RecordedTable : public testing::TestWithParam<const char*> {};

TEST_P(RecordedTable, ReadsAsTheSystemLibraryReadsIt) {
    const Stream one = openTable(GetParam());
    const Stream other = openTable(GetParam());
    ASSERT_TRUE(one && other);
    const std::vector<std::string> expected = systemEntries(other.get());
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(entriesOf(one.get()), expected);
}

INSTANTIATE_TEST_SUITE_P(Tables, RecordedTable,
                         testing::Values("escapes.mounts", "long_line.mounts", "server.mounts", "broken.mounts"),
                         [](const auto& table) {
                             const std::string name = table.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(MountEntryReader, FirstEntryInFileOrderWins) {
    EXPECT_EQ(findIn("escapes.mounts", Key::kMountPoint, "/mnt/tarnfi-test/dup"),
              "first|/mnt/tarnfi-test/dup|tmpfs|rw,relatime,size=1024k");
    EXPECT_EQ(findIn("escapes.mounts", Key::kDevice, "second"),
              "second|/mnt/tarnfi-test/dup|tmpfs|rw,relatime,size=2048k");
    EXPECT_EQ(findIn("server.mounts", Key::kDevice, "/dev/mapper/vg-data"),
              "/dev/mapper/vg-data|/data|xfs|rw,relatime,attr2,inode64,logbufs=8,noquota");
}

TEST(MountEntryReader, ComparesDecodedFields) {
    EXPECT_EQ(findIn("escapes.mounts", Key::kMountPoint, "/mnt/tarnfi-test/a b"),
              "dev with blank|/mnt/tarnfi-test/a b|tmpfs|rw,relatime");
    EXPECT_EQ(findIn("escapes.mounts", Key::kDevice, "tab\tdev"), "tab\tdev|/mnt/tarnfi-test/tab\tx|tmpfs|rw,relatime");
    EXPECT_EQ(findIn("escapes.mounts", Key::kMountPoint, "/mnt/tarnfi-test/new\nline"),
              "tarnfi-nl|/mnt/tarnfi-test/new\nline|tmpfs|rw,relatime");
    EXPECT_EQ(findIn("escapes.mounts", Key::kMountPoint, "/mnt/tarnfi-test/back\\slash"),
              "back\\dev|/mnt/tarnfi-test/back\\slash|tmpfs|rw,relatime");
    EXPECT_EQ(findIn("escapes.mounts", Key::kDevice, "\\040literal"),
              "\\040literal|/mnt/tarnfi-test/plain|tmpfs|rw,relatime,size=1024k,mode=700");
    EXPECT_EQ(findIn("escapes.mounts", Key::kMountPoint, "/mnt/tarnfi-test/a\\040b"), "");
}

TEST(MountEntryReader, LeavesTheNumberSignEscaped) {
    EXPECT_EQ(findIn("escapes.mounts", Key::kDevice, "#hash"), "");
    EXPECT_EQ(findIn("escapes.mounts", Key::kDevice, "\\043hash"),
              "\\043hash|/mnt/tarnfi-test/hash#x|tmpfs|rw,relatime");
}

TEST(MountEntryReader, ComparesWholeFields) {
    EXPECT_EQ(findIn("server.mounts", Key::kMountPoint, "/dat"), "");
    EXPECT_EQ(findIn("server.mounts", Key::kMountPoint, "/data/"), "");
    EXPECT_EQ(findIn("server.mounts", Key::kMountPoint, ""), "");
    EXPECT_EQ(findIn("server.mounts", Key::kMountPoint, "/data_alt"),
              "/dev/mapper/vg-data|/data_alt|xfs|ro,relatime,nouuid");
}

TEST(MountEntryReader, CutsNoLongLine) {
    std::string directory = "/mnt/tarnfi-test";
    for (int i = 0; i < 15; ++i) {
        directory += '/' + std::string(255, ' ');
    }
    EXPECT_EQ(findIn("long_line.mounts", Key::kMountPoint, directory), "long-line|" + directory + "|tmpfs|rw,relatime");
    EXPECT_EQ(findIn("long_line.mounts", Key::kDevice, "after-long"),
              "after-long|/mnt/tarnfi-test/after|tmpfs|rw,relatime");
}

TEST(MountEntryReader, ReadsALineOfHalfAMegabyte) {
    const std::string options(512 * 1024, 'o');
    std::string table = "/dev/a /a ext3 " + options + " 0 0\n/dev/b /b ext3 rw 0 0\n";
    const Stream stream = openText(table);
    EXPECT_EQ(entriesOf(stream.get()), (std::vector<std::string>{"/dev/a|/a|ext3|" + options, "/dev/b|/b|ext3|rw"}));
}

TEST(MountEntryReader, SkipsWhatTheAutomounterHides) {
    EXPECT_EQ(findIn("server.mounts", Key::kMountPoint, "/home"), "");
    EXPECT_NE(findIn("server.mounts", Key::kMountPoint, "/proc/sys/fs/binfmt_misc"), "");
}

TEST(MountEntryReader, SearchesOnBehindAMatch) {
    const Stream stream = openTable("server.mounts");
    MountEntryReader reader(stream.get());
    EXPECT_NE(reader.find(Key::kDevice, "/dev/mapper/vg-data"), nullptr);
    const mntent* second = reader.find(Key::kDevice, "/dev/mapper/vg-data");
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(second->mnt_dir, "/data_alt");
    EXPECT_EQ(reader.find(Key::kDevice, "/dev/mapper/vg-data"), nullptr);
    EXPECT_FALSE(reader.failed());
}

TEST(MountEntryReader, AFolderCannotBeRead) {
    const Stream stream(std::fopen("/", "r"), std::fclose);
    ASSERT_TRUE(stream);
    MountEntryReader reader(stream.get());
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_TRUE(reader.failed());
}

// A table that breaks off in the middle of a line with an error: the start of the line is not taken for the line.
TEST(MountEntryReader, ALineCutByAReadErrorIsNoEntry) {
    struct Cut {
        static ssize_t read(void* cookie, char* buffer, size_t) {
            static constexpr std::string_view kStart = "/dev/a /a ext3 rw 0 0\n/dev/b /b ext3 rw,no";
            auto& calls = *static_cast<int*>(cookie);
            if (calls++ > 0) {
                errno = EIO;
                return -1;
            }
            kStart.copy(buffer, kStart.size());
            return static_cast<ssize_t>(kStart.size());
        }
    };
    int calls = 0;
    const Stream stream(fopencookie(&calls, "r", {Cut::read, nullptr, nullptr, nullptr}), std::fclose);
    MountEntryReader reader(stream.get());
    EXPECT_NE(reader.find(Key::kMountPoint, "/a"), nullptr);
    EXPECT_FALSE(reader.failed());
    EXPECT_EQ(reader.find(Key::kMountPoint, "/b"), nullptr);
    EXPECT_TRUE(reader.failed());
}

}  // namespace
