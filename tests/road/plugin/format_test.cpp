// New file systems on devices.
#include "plugin_road.h"

namespace road {
namespace {

class Format : public PluginRoad {
  protected:
    int format(const Disk& disk, const std::string& type, const std::string& mkfsOptions = {}, int flags = 1) {
        std::string device = disk.device();
        std::string typeText = type;
        std::string options =
            "<FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">" + mkfsOptions + "</OPTION></FORMAT_OPTIONS>";
        char* devices[] = {device.data()};
        char** names = nullptr;
        int count = 0;
        return call().format(devices, 1, nullptr, typeText.data(), mkfsOptions.empty() ? nullptr : options.data(),
                             flags, &names, &count);
    }
    static std::string blkid(const Disk& disk, const std::string& tag) {
        const std::string output = run("blkid -p -o value -s " + tag + " " + disk.device()).output;
        return output.substr(0, output.find('\n'));
    }
    static std::string superblock(const Disk& disk, const std::string& label) {
        return valueOf(mustRun("tune2fs -l " + disk.device()), label);
    }
};

class FormatByType : public Format, public testing::WithParamInterface<const char*> {};

TEST_P(FormatByType, the_device_holds_a_new_empty_file_system_of_the_type) {
    ROAD_NEEDS_TYPE(GetParam());
    const std::string type = GetParam();
    Disk& data = emptyDisk(sizeFor(type));
    ASSERT_EQ(format(data, type), ZFI_OK);
    EXPECT_EQ(blkid(data, "TYPE"), type);
    EXPECT_TRUE(data.points().empty()) << "the test mount is over";

    data.mountAt(at("data"));
    EXPECT_EQ(mountAt(at("data"))->type, type);
    EXPECT_TRUE(isWritable(at("data")));
    fill(at("data"));
    unmountAll(at("data"));
    const std::string uuid = blkid(data, "UUID");
    ASSERT_EQ(format(data, type), ZFI_OK) << "once more, over an old one";
    EXPECT_NE(blkid(data, "UUID"), uuid);
    data.mountAt(at("data"));
    EXPECT_FALSE(isFilled(at("data")));
}

TEST_P(FormatByType, what_is_mounted_is_not_formatted) {
    ROAD_NEEDS_TYPE(GetParam());
    Disk& data = disk(GetParam());
    data.mountAt(at("data"));
    fill(at("data"));
    EXPECT_EQ(format(data, GetParam()), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_TRUE(isFilled(at("data")));
    EXPECT_TRUE(isWritable(at("data")));
}

TEST_P(FormatByType, without_its_flag_nothing_is_done) {
    ROAD_NEEDS_TYPE(GetParam());
    Disk& data = disk(GetParam());
    data.remember();
    EXPECT_EQ(format(data, GetParam(), "-L label", 0), ZFI_OK);
    EXPECT_TRUE(data.isAsRemembered());
}

INSTANTIATE_TEST_SUITE_P(Types, FormatByType, testing::Values("ext2", "ext3", "jfs", "reiserfs", "xfs"), typeName);

class FormatExt : public Format, public testing::WithParamInterface<const char*> {};

TEST_P(FormatExt, options_take_effect_and_the_test_mount_has_been_there) {
    ROAD_NEEDS_TYPE(GetParam());
    Disk& data = emptyDisk(Disk::kSmall);
    ASSERT_EQ(format(data, GetParam(), "-b 2048 -I 512 -L tarn-label"), ZFI_OK);
    EXPECT_EQ(superblock(data, "Block size"), "2048");
    EXPECT_EQ(superblock(data, "Inode size"), "512");
    EXPECT_EQ(superblock(data, "Filesystem volume name"), "tarn-label");
    EXPECT_EQ(superblock(data, "Mount count"), "1");
    EXPECT_NE(superblock(data, "Last mount time"), "n/a");
    const bool hasJournal = superblock(data, "Filesystem features").find("has_journal") != std::string::npos;
    EXPECT_EQ(hasJournal, std::string(GetParam()) == "ext3");
}

INSTANTIATE_TEST_SUITE_P(Types, FormatExt, testing::Values("ext2", "ext3"), typeName);

TEST_F(Format, xfs_options_take_effect) {
    ROAD_NEEDS_TYPE("xfs");
    Disk& data = emptyDisk(Disk::kForXfs);
    ASSERT_EQ(format(data, "xfs", "-b size=2048 -i size=1024 -L tarn-label"), ZFI_OK);
    data.mountAt(at("data"));
    const std::string info = mustRun("xfs_info " + at("data"));
    EXPECT_NE(info.find("bsize=2048 "), std::string::npos) << info;
    EXPECT_NE(info.find("isize=1024 "), std::string::npos) << info;
    EXPECT_EQ(blkid(data, "LABEL"), "tarn-label");
}

TEST_F(Format, a_type_that_is_not_the_plug_ins_own_and_bad_options_leave_the_old_file_system) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    data.mountAt(at("data"));
    fill(at("data"));
    unmountAll(at("data"));
    data.remember();
    EXPECT_EQ(format(data, "ext4"), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(format(data, "btrfs"), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(format(data, "ext3", "-b 777"), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(format(data, "ext3", "-O no_such_feature"), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_TRUE(data.isAsRemembered());
}

// The test mount is a proof, not a condition: a kernel without jfs cannot do it.
TEST_F(Format, a_type_that_this_kernel_cannot_mount_is_made_all_the_same) {
    if (run("test -x /sbin/mkfs.jfs").exitStatus != 0) {
        GTEST_SKIP() << "needs mkfs.jfs";
    }
    if (reasonToSkipType("jfs").empty()) {
        GTEST_SKIP() << "this kernel has jfs";
    }
    Disk& data = emptyDisk(Disk::kSmall);
    EXPECT_EQ(format(data, "jfs"), ZFI_OK);
    EXPECT_EQ(blkid(data, "TYPE"), "jfs");
    EXPECT_TRUE(data.points().empty());
}

}  // namespace
}  // namespace road
