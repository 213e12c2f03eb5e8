// The file system writes through between cache_disable and cache_enable.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "plugin_road.h"

namespace road {
namespace {

class Cache : public PluginRoad, public testing::WithParamInterface<const char*> {};

bool writesThrough(const std::string& point) {
    return mountAt(point)->options.contains("sync");
}

// Writes a text that nobody asks the kernel to bring to the disk.
void writeLazily(const std::string& path, const std::string& text) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(file);
}

bool isOnDisk(const Disk& disk, const std::string& text) {
    return run("grep -q -a -F " + text + " " + disk.image()).exitStatus == 0;
}

TEST_P(Cache, what_is_written_is_on_the_disk_at_once) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string point = at("data");
    Disk& data = disk(GetParam());
    data.mountAt(point, "rw,noatime,nodev");
    const std::set<std::string> before = mountAt(point)->options;
    Node& node = initialised(point);
    ASSERT_FALSE(writesThrough(point));

    ASSERT_EQ(call().cache_disable(node), ZFI_OK);
    EXPECT_TRUE(writesThrough(point));
    EXPECT_TRUE(mountAt(point)->options.contains("noatime"));
    EXPECT_TRUE(mountAt(point)->options.contains("nodev"));
    writeLazily(point + "/file", "written-through-the-cache");
    EXPECT_TRUE(isOnDisk(data, "written-through-the-cache"));
    EXPECT_EQ(call().cache_disable(node), ZFI_OK) << "a second call is harmless";

    call().cache_enable(node);
    EXPECT_EQ(mountAt(point)->options, before);
    EXPECT_TRUE(isWritable(point));
    EXPECT_TRUE(pauses().empty());
}

INSTANTIATE_TEST_SUITE_P(Types, Cache, testing::Values("xfs", "ext2", "ext3"), typeName);

TEST_F(PluginRoad, a_remount_that_fails_is_tried_again_after_two_seconds_and_changes_nothing) {
    ROAD_NEEDS_TYPE("ext3");
    const std::string point = at("data");
    Disk& data = disk("ext3");
    data.mountAt(point);
    Node& node = initialised(point);
    unmountAll(point);

    EXPECT_EQ(call().cache_disable(node), ZFI_ERR_FAILED);
    EXPECT_EQ(pauses(), std::vector<unsigned>{2});
    EXPECT_FALSE(isMounted(point));

    forgetPauses([&] { data.mountAt(point); });
    EXPECT_EQ(call().cache_disable(node), ZFI_OK) << "the second try found it mounted";
    EXPECT_TRUE(writesThrough(point));
}

}  // namespace
}  // namespace road
