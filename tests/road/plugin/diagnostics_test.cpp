// The picture of the host that is traced when a mount fails is that of this host.
#include <sys/stat.h>

#include <filesystem>

#include "machine/file_user.h"
#include "plugin_road.h"

namespace road {
namespace {

class Diagnostics : public PluginRoad {
  protected:
    // A device without a file system cannot be brought on line; the dump is part of the failure.
    void failToMount(const Disk& disk, const std::string& place) {
        std::string device = disk.device();
        std::string wanted = place;
        char* devices[] = {device.data()};
        char** paths = nullptr;
        int count = 0;
        ASSERT_EQ(call().online_resource(devices, 1, wanted.data(), nullptr, nullptr, nullptr, 0, &paths, &count),
                  ZFI_ERR_FAILED);
    }
    std::string dumped(const std::string& section) const {
        const std::vector<std::string> lines = traced("dumpInformation" + section + " = ");
        EXPECT_EQ(lines.size(), 1U) << section;
        return lines.empty() ? "" : lines.front();
    }
    static std::string tag(const std::string& field, uint64_t value) {
        return "<statData." + field + ">" + std::to_string(value) + "</statData." + field + ">";
    }
};

TEST_F(Diagnostics, device_mount_point_and_mounts_are_those_of_this_machine) {
    ROAD_NEEDS_TYPE("ext3");
    const Disk& empty = emptyDisk(Disk::kSmall, "empty");
    disk("ext3").mountAt(at("data"));
    failToMount(empty, at("place"));

    struct stat device = {};
    struct stat place = {};
    ASSERT_EQ(stat(empty.device().c_str(), &device), 0);
    ASSERT_EQ(stat(at("place").c_str(), &place), 0);
    const std::string deviceText = dumped("Device");
    EXPECT_NE(deviceText.find(tag("st_mode", device.st_mode)), std::string::npos) << deviceText;
    EXPECT_NE(deviceText.find(tag("st_rdev", device.st_rdev)), std::string::npos) << deviceText;
    const std::string placeText = dumped("Mount");
    EXPECT_NE(placeText.find(tag("st_dev", place.st_dev)), std::string::npos) << placeText;
    EXPECT_NE(placeText.find(tag("st_mode", place.st_mode)), std::string::npos) << placeText;
    const std::string mountText = dumped("MountCmd");
    EXPECT_NE(mountText.find(" on " + at("data") + " type ext3 (rw"), std::string::npos) << mountText;
    EXPECT_EQ(mountText.find(at("place")), std::string::npos) << "nothing is mounted there";
}

TEST_F(Diagnostics, the_users_of_the_mount_point_are_named) {
    ROAD_NEEDS_FUSER();
    std::filesystem::create_directory(at("place"));
    FileUser user(at("place"));
    failToMount(emptyDisk(Disk::kSmall, "empty"), at("place"));
    const std::string text = dumped("Fuser");
    EXPECT_NE(text.find(" " + std::to_string(user.pid())), std::string::npos) << text;
    EXPECT_TRUE(user.isAlive()) << "looking does no harm";
}

TEST_F(Diagnostics, a_mount_point_without_users_is_said_to_have_none) {
    ROAD_NEEDS_FUSER();
    failToMount(emptyDisk(Disk::kSmall, "empty"), at("place"));
    EXPECT_NE(dumped("Fuser").find("fuser command failed to print usage information"), std::string::npos);
}

}  // namespace
}  // namespace road
