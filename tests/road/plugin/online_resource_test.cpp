// A restored volume comes on line, repaired where that is needed.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "plugin_road.h"
#include "znfi.h"

namespace road {
namespace {

class OnlineResource : public PluginRoad {
  protected:
    // Brings the device on line at `wanted`, or where the plug-in thinks (""). The place it tells, or "".
    std::string online(const std::string& devicePath, const std::string& wanted, const std::string& mountOptions = {}) {
        std::string device = devicePath;
        std::string place = wanted;
        std::string options =
            "<FORMAT_OPTIONS><OPTION name=\"mountOptions\">" + mountOptions + "</OPTION></FORMAT_OPTIONS>";
        char* devices[] = {device.data()};
        char** paths = nullptr;
        int count = 0;
        status_ = call().online_resource(devices, 1, wanted.empty() ? nullptr : place.data(), nullptr,
                                         mountOptions.empty() ? nullptr : options.data(), nullptr, 0, &paths, &count);
        if (status_ != ZFI_OK || count != 1) {
            EXPECT_EQ(paths, nullptr);
            return "";
        }
        const std::string told = paths[0];
        znfi_free_buf(paths[0], told.size() + 1);
        free(paths);
        return told;
    }
    // An ext3 with content whose group descriptors are rubbish: it does not mount, and its copies of them can mend it.
    Disk& damagedDisk() {
        Disk& data = emptyDisk(Disk::kSmall);
        data.make("ext3", "-b 1024");
        data.mountAt(at("before"));
        fill(at("before"));
        unmountAll(at("before"));
        mustRun("head -c 1024 /dev/zero | tr '\\0' '\\377' | dd of=" + data.device() +
                " bs=1024 seek=2 conv=notrunc,fsync status=none");
        EXPECT_NE(run("mount -t ext3 " + data.device() + " " + at("before")).exitStatus, 0) << "it is damaged";
        return data;
    }

    int status_ = 0;
};

class OnlineResourceByType : public OnlineResource, public testing::WithParamInterface<const char*> {};

TEST_P(OnlineResourceByType, a_device_is_mounted_with_the_options_and_found_there_again) {
    ROAD_NEEDS_TYPE(GetParam());
    Disk& data = disk(GetParam());
    const std::string place = at("restored/volume");
    ASSERT_EQ(online(data.device(), place, "noatime,nosuid"), place) << status_;
    EXPECT_TRUE(mountAt(place)->options.contains("noatime"));
    EXPECT_TRUE(mountAt(place)->options.contains("nosuid"));
    EXPECT_TRUE(isWritable(place));
    EXPECT_FALSE(isTraced("fsck"));
    EXPECT_EQ(online(data.device(), place), place) << "it is there already";
    EXPECT_EQ(data.points(), std::vector<std::string>{place});
    EXPECT_EQ(online(data.device(), at("elsewhere")), "");
    EXPECT_EQ(status_, ZFI_ERR_MOUNTED_ELSEWHERE);
    EXPECT_EQ(data.points(), std::vector<std::string>{place});
}

INSTANTIATE_TEST_SUITE_P(Types, OnlineResourceByType, testing::Values("ext2", "ext3", "jfs", "reiserfs", "xfs"),
                         typeName);

TEST_F(OnlineResource, without_a_mount_point_its_name_is_the_devices) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = disk("ext3");
    const std::string name = ownPrefix() + "volume";
    ASSERT_EQ(symlink(data.device().c_str(), at(name).c_str()), 0);
    EXPECT_EQ(online(at(name), ""), "/" + name);
    EXPECT_TRUE(isWritable("/" + name));
    unmountAll("/" + name);
    EXPECT_EQ(rmdir(("/" + name).c_str()), 0);
}

TEST_F(OnlineResource, a_damaged_ext3_is_repaired_between_two_tries_and_nothing_of_it_is_lost) {
    ROAD_NEEDS_TYPE("ext3");
    Disk& data = damagedDisk();
    ASSERT_EQ(online(data.device(), at("restored")), at("restored")) << status_;
    EXPECT_EQ(traced("TARN::onlineResource - mount command = ").size(), 2U);
    EXPECT_EQ(traced("fsck Command : /sbin/fsck -y  " + data.device()).size(), 1U);
    EXPECT_TRUE(isFilled(at("restored")));
    EXPECT_TRUE(isWritable(at("restored")));
    unmountAll(at("restored"));
    mustRun("e2fsck -f -n " + data.device());
}

TEST_F(OnlineResource, what_cannot_be_repaired_is_not_mounted_and_not_changed) {
    ROAD_NEEDS_TYPE("xfs");
    Disk& data = disk("xfs");
    mustRun("dd if=/dev/zero of=" + data.device() + " bs=4096 count=1 conv=notrunc,fsync status=none");
    data.remember();
    EXPECT_EQ(online(data.device(), at("restored")), "");
    EXPECT_EQ(status_, ZFI_ERR_FAILED);
    EXPECT_TRUE(data.points().empty());
    EXPECT_EQ(traced("TARN::onlineResource - mount command = ").size(), 2U);
    EXPECT_EQ(traced("fsck Command : ").size(), 1U);
    EXPECT_TRUE(data.isAsRemembered());
    EXPECT_TRUE(std::filesystem::is_directory(at("restored"))) << "the mount point is left";
}

}  // namespace
}  // namespace road
