// Making a file system and proving it by a test mount: format.
#include <ctime>

#include "bed/row.h"

namespace {

using namespace bed;

const char* const kDevice = "/dev/sdc1";

int formatWith(Bed& bed, const char* type, const char* options, int flags = 1) {
    char* devices[] = {bed.text(kDevice), bed.text("/dev/sdd1")};
    return bed.call().format(devices, 2, nullptr, type == nullptr ? nullptr : bed.text(type),
                             options == nullptr ? nullptr : bed.text(options), flags, nullptr, nullptr);
}

Trace formats(const Trace& inside) {
    return entry("format", method("format", inside));
}

std::string failure(const std::string& command, const std::string& output) {
    return "command '" + command + "' failed with message '" + output + "'.";
}

// The test mount's directory carries the second in which it is made: the commands tell which one it was.
std::string testMountPoint() {
    for (const Command& command : commandsRun()) {
        if (command.front() == "/bin/mkdir") {
            return command.back();
        }
    }
    return "no test mount";
}

Trace testMounts(const std::string& place) {
    return {method("getTime"), primitive("createMntPoint", "/bin/mkdir -p  \"" + place + "\""),
            primitive("mount", "/bin/mount  -o rw \"/dev/sdc1\" \"" + place + "\""),
            primitive("umount", "/bin/umount  \"" + place + "\"")};
}

Commands testMountCommands(const std::string& place) {
    return {{"/bin/mkdir", "-p", place}, {"/bin/mount", "-o", "rw", kDevice, place}, {"/bin/umount", place}};
}

std::string options(const std::string& content) {
    return "<FORMAT_OPTIONS>" + content + "</FORMAT_OPTIONS>";
}
std::string option(const std::string& name, const std::string& value) {
    return "<OPTION name=\"" + name + "\">" + value + "</OPTION>";
}

Trace optionLines(const std::string& text, const std::string& mkfs, const std::string& mount) {
    return {progress("TARN::format - options = " + text), progress("TARN::format - mkfsOptions = " + mkfs),
            progress("TARN::format - mountOptions = " + mount)};
}

// A format that works: the mkfs command, and lines for the options where there are some.
Row made(const char* name, const std::string& type, const std::string& optionText, const Trace& lines,
         const std::string& mkfs, const Command& run) {
    return {
        .name = name,
        .call =
            [=](Bed& bed) { return formatWith(bed, type.c_str(), optionText.empty() ? nullptr : optionText.c_str()); },
        .traceNow =
            [=] {
                return formats({progress("TARN::format - type = " + type), lines,
                                progress("TARN::format - mkfs command = " + mkfs), testMounts(testMountPoint())});
            },
        .commandsNow =
            [=] {
                Commands all = testMountCommands(testMountPoint());
                all.insert(all.begin(), run);
                return all;
            }};
}

Row checkedOnly(const char* name, const char* type, int status, const Trace& lines) {
    return {.name = name,
            .call = [=](Bed& bed) { return formatWith(bed, type, nullptr, 0xfe); },
            .status = status,
            .trace = formats({progress(std::string("TARN::format - type = ") + type), lines})};
}

const std::string kXfsOptions = options(option("mkfsOptions", "-b size=4096") + option("mountOptions", "noatime"));
const std::string kMountOnly = options(option("mountOptions", "noatime"));
const std::string kWrongCase = options(option("MKFSOPTIONS", "-q"));

const Row kFormat[] = {
    made("xfs_with_mkfs_options_and_mount_options_that_change_nothing", "xfs", kXfsOptions,
         optionLines(kXfsOptions, "-b size=4096", "noatime"), "/sbin/mkfs -t  xfs -f -b size=4096 /dev/sdc1",
         {"/sbin/mkfs", "-t", "xfs", "-f", "-b", "size=4096", kDevice}),
    made("an_option_text_without_mkfs_options", "jfs", kMountOnly, optionLines(kMountOnly, "", "noatime"),
         "/sbin/mkfs -t  jfs -f /dev/sdc1", {"/sbin/mkfs", "-t", "jfs", "-f", kDevice}),
    made("option_names_are_case_sensitive", "jfs", kWrongCase, optionLines(kWrongCase, "", ""),
         "/sbin/mkfs -t  jfs -f /dev/sdc1", {"/sbin/mkfs", "-t", "jfs", "-f", kDevice}),
    made("a_malformed_option_text_yields_no_options", "jfs", "<FORMAT_OPTIONS><OPTION",
         optionLines("<FORMAT_OPTIONS><OPTION", "", ""), "/sbin/mkfs -t  jfs -f /dev/sdc1",
         {"/sbin/mkfs", "-t", "jfs", "-f", kDevice}),
    made("reiserfs_is_forced", "reiserfs", "", {}, "/sbin/mkfs -t  reiserfs -f /dev/sdc1",
         {"/sbin/mkfs", "-t", "reiserfs", "-f", kDevice}),
    made("ext2_has_no_fixed_option", "ext2", "", {}, "/sbin/mkfs -t  ext2  /dev/sdc1",
         {"/sbin/mkfs", "-t", "ext2", kDevice}),
    made("ext3_has_no_fixed_option", "ext3", "", {}, "/sbin/mkfs -t  ext3  /dev/sdc1",
         {"/sbin/mkfs", "-t", "ext3", kDevice}),
    checkedOnly("a_supported_type_with_bit_0_clear_runs_nothing", "xfs", 0, {}),
    checkedOnly("ext4_with_bit_0_clear_is_refused", "ext4", 3, error("TARN::format not a supported type")),
    {.name = "ext4_with_bit_0_clear_is_refused_after_its_options_are_traced",
     .call = [](Bed& bed) { return formatWith(bed, "ext4", kMountOnly.c_str(), 0); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats({progress("TARN::format - type = ext4"), optionLines(kMountOnly, "", "noatime"),
                       error("TARN::format not a supported type")})},
    checkedOnly("capitals_are_another_type", "XFS", 3, error("TARN::format not a supported type")),
    {.name = "ext4_is_refused_after_its_options_are_traced",
     .call = [](Bed& bed) { return formatWith(bed, "ext4", kMountOnly.c_str()); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats({progress("TARN::format - type = ext4"), optionLines(kMountOnly, "", "noatime"),
                       error("TARN::format not a supported type")})},
    {.name = "an_mkfs_that_fails",
     .host = {.answers = {{.command = "mkfs", .exitStatus = 1, .prints = "in\n use\n"}}},
     .call = [](Bed& bed) { return formatWith(bed, "jfs", nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats({progress("TARN::format - type = jfs"),
                       progress("TARN::format - mkfs command = /sbin/mkfs -t  jfs -f /dev/sdc1"),
                       error("TARN::format - mkfs command [/sbin/mkfs -t  jfs -f /dev/sdc1] failed with message 'in "
                             "use'.")}),
     .commands = {{"/sbin/mkfs", "-t", "jfs", "-f", kDevice}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/sbin/mkfs -t  jfs -f /dev/sdc1")}},
    {.name = "an_mkfs_that_hangs_is_given_ten_minutes",
     .host = {.answers = {{.command = "mkfs", .hangs = true}}},
     .call = [](Bed& bed) { return formatWith(bed, "jfs", nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats({progress("TARN::format - type = jfs"),
                       progress("TARN::format - mkfs command = /sbin/mkfs -t  jfs -f /dev/sdc1"),
                       error("TARN::format - mkfs command [/sbin/mkfs -t  jfs -f /dev/sdc1] failed with message ''.")}),
     .commands = {{"/sbin/mkfs", "-t", "jfs", "-f", kDevice}},
     .waits = {.limits = {600}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_READ_TIMEOUT", "/sbin/mkfs -t  jfs -f /dev/sdc1")}},
    {.name = "each_step_of_the_test_mount_may_fail",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1, .prints = "a\n"},
                          {.command = "mount", .exitStatus = 32, .prints = "b\n"},
                          {.command = "umount", .exitStatus = 32, .prints = "c\n"}}},
     .call = [](Bed& bed) { return formatWith(bed, "xfs", nullptr); },
     .traceNow =
         [] {
             const std::string place = testMountPoint();
             const std::string mkdir = "/bin/mkdir -p  \"" + place + "\"";
             const std::string mount = "/bin/mount  -o rw \"/dev/sdc1\" \"" + place + "\"";
             const std::string umount = "/bin/umount  \"" + place + "\"";
             return formats({progress("TARN::format - type = xfs"),
                             progress("TARN::format - mkfs command = /sbin/mkfs -t  xfs -f /dev/sdc1"),
                             method("getTime"),
                             method("createMntPoint", {progress("Command : " + mkdir), error(failure(mkdir, "a"))}),
                             method("mount", {progress("Command : " + mount), error(failure(mount, "b"))}),
                             method("umount", {progress("Command : " + umount), error(failure(umount, "c"))})});
         },
     .commandsNow =
         [] {
             Commands all = testMountCommands(testMountPoint());
             all.insert(all.begin(), {"/sbin/mkfs", "-t", "xfs", "-f", kDevice});
             return all;
         },
     .after = [](Bed&) { EXPECT_EQ(directoriesRemoved(), (std::vector<std::string>{testMountPoint()})); }},
    {.name = "a_device_with_a_blank_is_split_by_mkfs_and_quoted_by_the_test_mount",
     .call =
         [](Bed& bed) {
             char* devices[] = {bed.text("/dev/my disk")};
             return bed.call().format(devices, 1, nullptr, bed.text("xfs"), nullptr, 1, nullptr, nullptr);
         },
     .traceNow =
         [] {
             const std::string place = testMountPoint();
             return formats({progress("TARN::format - type = xfs"),
                             progress("TARN::format - mkfs command = /sbin/mkfs -t  xfs -f /dev/my disk"),
                             method("getTime"), primitive("createMntPoint", "/bin/mkdir -p  \"" + place + "\""),
                             primitive("mount", "/bin/mount  -o rw \"/dev/my disk\" \"" + place + "\""),
                             primitive("umount", "/bin/umount  \"" + place + "\"")});
         },
     .commandsNow =
         [] {
             const std::string place = testMountPoint();
             return Commands{{"/sbin/mkfs", "-t", "xfs", "-f", "/dev/my", "disk"},
                             {"/bin/mkdir", "-p", place},
                             {"/bin/mount", "-o", "rw", "/dev/my disk", place},
                             {"/bin/umount", place}};
         }},
    {.name = "no_devices_are_refused",
     .call =
         [](Bed& bed) { return bed.call().format(nullptr, 1, nullptr, bed.text("xfs"), nullptr, 1, nullptr, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats(progress("TARN::format - Invalid values specified"))},
    {.name = "a_null_device_is_refused",
     .call =
         [](Bed& bed) {
             char* devices[] = {nullptr};
             return bed.call().format(devices, 1, nullptr, bed.text("xfs"), nullptr, 1, nullptr, nullptr);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats(progress("TARN::format - Invalid values specified"))},
    {.name = "a_null_type_is_refused",
     .call = [](Bed& bed) { return formatWith(bed, nullptr, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = formats(progress("TARN::format - Invalid values specified"))},
};
CONTRACT_TABLE(Format, kFormat);

const Row kOut[] = {
    {.name = "names_and_count_are_not_written",
     .call =
         [](Bed& bed) {
             char* devices[] = {bed.text(kDevice)};
             bed.outPaths = reinterpret_cast<char**>(&bed);
             return bed.call().format(devices, 1, nullptr, bed.text("xfs"), nullptr, 0, &bed.outPaths, &bed.outInt);
         },
     .trace = formats(progress("TARN::format - type = xfs")),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(static_cast<void*>(bed.outPaths), static_cast<void*>(&bed));
             EXPECT_EQ(bed.outInt, -77);
         }},
};
CONTRACT_TABLE(FormatOut, kOut);

const Row kTime[] = {
    {.name = "the_test_mount_point_is_day_month_year_hour_minute_second",
     .call = [](Bed& bed) { return formatWith(bed, "xfs", nullptr); },
     .traceNow =
         [] {
             return formats({progress("TARN::format - type = xfs"),
                             progress("TARN::format - mkfs command = /sbin/mkfs -t  xfs -f /dev/sdc1"),
                             testMounts(testMountPoint())});
         },
     .commandsNow =
         [] {
             Commands all = testMountCommands(testMountPoint());
             all.insert(all.begin(), {"/sbin/mkfs", "-t", "xfs", "-f", kDevice});
             return all;
         },
     .after =
         [](Bed&) {
             tm parsed{};
             const std::string place = testMountPoint();
             EXPECT_EQ(directoriesRemoved(), (std::vector<std::string>{place}));
             const char* end = strptime(place.c_str(), "/tmp_%d%m%Y%H%M%S", &parsed);
             ASSERT_NE(end, nullptr) << place;
             EXPECT_EQ(*end, '\0') << place;
             EXPECT_EQ(place.size(), sizeof "/tmp_05032024140709" - 1);
             parsed.tm_isdst = -1;
             EXPECT_LE(std::abs(std::difftime(std::time(nullptr), std::mktime(&parsed))), 60) << place;
         }},
};
CONTRACT_TABLE(FormatTime, kTime);

}  // namespace
