// Bringing a restored volume online: online_resource.
#include <cstring>

#include "bed/layout.h"
#include "bed/online_resource_rows.h"
#include "bed/row.h"

namespace {

using namespace bed;

const char* const kDevice = "/dev/sdb1";
const char* const kPlace = BED_ROOT "/place";
const std::string kMount = std::string("/bin/mount  \"/dev/sdb1\" \"") + kPlace + "\"";
const std::string kFsck = "/sbin/fsck -y  /dev/sdb1";
const Command kMkdirCommand = {"/bin/mkdir", "-p", kPlace};
const Command kMountCommand = {"/bin/mount", kDevice, kPlace};
const Command kFsckCommand = {"/sbin/fsck", "-y", kDevice};

int onlineIt(Bed& bed) {
    return onlineResourceAt(bed, kDevice, kPlace);
}

const Trace kMakesPoint = primitive("createMntPoint", std::string("/bin/mkdir -p  \"") + kPlace + "\"");
const Trace kHandsBack = method("createPathAndAllocBuffer");

// A mount that ran and failed, the device still not mounted.
Trace mountFails(const std::string& output) {
    return {mountsResource(kMount, exitsWith(kMount, "32")),
            warning("CTARN::onlineResource - execPipe returned with error code [11]"),
            error("CTARN::onlineResource - mount command [" + kMount + "] failed with errorCode [32] and message '" +
                  output + "'."),
            method("getMountStatus")};
}

Trace repairs(const Trace& failureInside = {}, const Trace& failureAfter = {}) {
    return {progress("CTARN::onlineResource - trying fsck command"), progress("fsck Command : " + kFsck),
            executes(kFsck, failureInside), failureAfter};
}

// The diagnostics of a device and a mount point that do not exist, with commands that succeed and print nothing.
const Trace kDumpsNothingThere = method(
    "dumpMountInformation",
    {progress("dumpInformationDevice = Dumping device information for device /dev/sdb1\n"
              "Stat information failed for the device /dev/sdb1with error code 2\n"),
     progress(std::string("dumpInformationMount = Dumping stat information for mount point ") + kPlace +
              "\nStat information failed for the mount point " + kPlace + "with error code 2\n"),
     progress(std::string("dumpInformationFuser: FUSER_CMD = /sbin/fuser ") + kPlace),
     progress(std::string("dumpInformationFuser = \nDumping fuser data for mountpoint using command /sbin/fuser ") +
              kPlace + "\n"),
     progress("dumpInformationMountCmd: MOUNT_CMD = /bin/mount "),
     progress("dumpInformationMountCmd = \nDumping information about mounted devices using command /bin/mount \n")});

// The path array: freed here, as the framework does.
void handsBack(Bed& bed, const char* place) {
    EXPECT_EQ(bed.outInt, 1);
    ASSERT_NE(bed.outPaths, nullptr);
    EXPECT_STREQ(bed.outPaths[0], place);
    znfi_free_buf(bed.outPaths[0], std::strlen(bed.outPaths[0]) + 1);
    std::free(bed.outPaths);
}

void handsBackPlace(Bed& bed) {
    handsBack(bed, kPlace);
}

const Answer kMountFails = {.command = "mount", .exitStatus = 32, .prints = "bad\n superblock\n"};
const std::string kBad = "bad superblock";
const std::string kMountedTable = std::string("/dev/sdb1 ") + kPlace + " ext3 rw 0 0\n";

const Row kOnline[] = {
    {.name = "mounts_at_a_new_mount_point",
     .call = onlineIt,
     .trace = onlinesResource({looksUpDevice(kDevice), kMakesPoint, mountsResource(kMount), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "a_mount_point_that_exists_is_not_made",
     .call = [](Bed& bed) { return onlineResourceAt(bed, kDevice, BED_ROOT); },
     .trace = onlinesResource(
         {looksUpDevice(kDevice), mountsResource("/bin/mount  \"/dev/sdb1\" \"" BED_ROOT "\""), kHandsBack}),
     .commands = {{"/bin/mount", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "mount_options_are_passed",
     .call =
         [](Bed& bed) {
             return onlineResourceAt(
                 bed, kDevice, BED_ROOT,
                 "<FORMAT_OPTIONS><OPTION name=\"mountOptions\">ro,noatime</OPTION></FORMAT_OPTIONS>");
         },
     .trace = onlinesResource({progress("TARN::onlineResource - options = <FORMAT_OPTIONS><OPTION "
                                        "name=\"mountOptions\">ro,noatime</OPTION></FORMAT_OPTIONS>"),
                               looksUpDevice(kDevice),
                               mountsResource("/bin/mount  -o ro,noatime \"/dev/sdb1\" \"" BED_ROOT "\""), kHandsBack}),
     .commands = {{"/bin/mount", "-o", "ro,noatime", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "options_without_mount_options_bring_no_option_part",
     .call =
         [](Bed& bed) {
             return onlineResourceAt(bed, kDevice, BED_ROOT,
                                     "<FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">-q</OPTION></FORMAT_OPTIONS>");
         },
     .trace = onlinesResource({progress("TARN::onlineResource - options = <FORMAT_OPTIONS><OPTION "
                                        "name=\"mkfsOptions\">-q</OPTION></FORMAT_OPTIONS>"),
                               looksUpDevice(kDevice), mountsResource("/bin/mount  \"/dev/sdb1\" \"" BED_ROOT "\""),
                               kHandsBack}),
     .commands = {{"/bin/mount", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "a_null_mount_point_is_derived_from_the_device",
     .call = [](Bed& bed) { return onlineResourceAt(bed, kDevice, nullptr); },
     .trace = onlinesResource({method("generateName"), looksUpDevice(kDevice),
                               primitive("createMntPoint", "/bin/mkdir -p  \"/sdb1\""),
                               mountsResource("/bin/mount  \"/dev/sdb1\" \"/sdb1\""), kHandsBack}),
     .commands = {{"/bin/mkdir", "-p", "/sdb1"}, {"/bin/mount", kDevice, "/sdb1"}},
     .after = [](Bed& bed) { handsBack(bed, "/sdb1"); }},
    {.name = "a_device_without_slash_gets_one_in_front",
     .call = [](Bed& bed) { return onlineResourceAt(bed, "data", nullptr); },
     .trace = onlinesResource({method("generateName"), looksUpDevice("data"),
                               primitive("createMntPoint", "/bin/mkdir -p  \"/data\""),
                               mountsResource("/bin/mount  \"data\" \"/data\""), kHandsBack}),
     .commands = {{"/bin/mkdir", "-p", "/data"}, {"/bin/mount", "data", "/data"}},
     .after = [](Bed& bed) { handsBack(bed, "/data"); }},
    {.name = "a_lone_slash_stays_a_lone_slash",
     .call = [](Bed& bed) { return onlineResourceAt(bed, "/", nullptr); },
     .trace = onlinesResource(
         {method("generateName"), looksUpDevice("/"), mountsResource("/bin/mount  \"/\" \"/\""), kHandsBack}),
     .commands = {{"/bin/mount", "/", "/"}},
     .after = [](Bed& bed) { handsBack(bed, "/"); }},
    {.name = "a_trailing_slash_gives_a_lone_slash",
     .call = [](Bed& bed) { return onlineResourceAt(bed, "/a/b/", nullptr); },
     .trace = onlinesResource(
         {method("generateName"), looksUpDevice("/a/b/"), mountsResource("/bin/mount  \"/a/b/\" \"/\""), kHandsBack}),
     .commands = {{"/bin/mount", "/a/b/", "/"}},
     .after = [](Bed& bed) { handsBack(bed, "/"); }},
    {.name = "mounted_at_the_wanted_place_runs_nothing",
     .host = {.mountTable = kMountedTable},
     .call = onlineIt,
     .trace = onlinesResource({detail("Calling znfs_getmnt for :/dev/sdb1"),
                               progress(std::string("Device: /dev/sdb1 :: mntPoint: ") + kPlace),
                               progress("Device {/dev/sdb1} is already mounted"), kHandsBack}),
     .after = handsBackPlace},
    {.name = "mounted_elsewhere",
     .host = {.mountTable = "/dev/sdb1 /else ext3 rw 0 0\n" + kMountedTable},
     .call = onlineIt,
     .status = ZFI_ERR_MOUNTED_ELSEWHERE,
     .trace = onlinesResource({detail("Calling znfs_getmnt for :/dev/sdb1"),
                               progress("Device: /dev/sdb1 :: mntPoint: /else"),
                               error("Device {/dev/sdb1} is mounted on different mount point already")}),
     .after = handsBackNoPath},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .call = onlineIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = onlinesResource({detail("Calling znfs_getmnt for :/dev/sdb1"),
                               error("tarn_getmnt: fopen() of mnttab file failed"),
                               error("Mount point entry lookup failed")}),
     .after = handsBackNoPath},
    {.name = "a_mount_that_fails_but_took_effect",
     .host = {.answers = {{.command = "mount",
                           .exitStatus = 32,
                           .prints = kBad + "\n",
                           .setsMountTable = true,
                           .mountTable = kMountedTable}}},
     .call = onlineIt,
     .trace = onlinesResource({looksUpDevice(kDevice), kMakesPoint, mountFails(kBad),
                               warning("CTARN::onlineResource - device is mounted on mountPoint"), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_repairs_it",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = kBad + "\n"}}},
     .call = onlineIt,
     .trace = onlinesResource({looksUpDevice(kDevice), kMakesPoint, mountFails(kBad), kMountFailed, repairs(),
                               mountsResource(kMount), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_that_fails_does_not_end_it",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = kBad + "\n"},
                          {.command = "fsck", .exitStatus = 4, .prints = "errors\n left\n"}}},
     .call = onlineIt,
     .trace = onlinesResource(
         {looksUpDevice(kDevice), kMakesPoint, mountFails(kBad), kMountFailed,
          repairs(exitsWith(kFsck, "4"), {error("TARN::onlineResource -execPipe.Exec failed with errorCode [11]"),
                                          progress("FSCK command failed with errorCode [4] message 'errors left'.")}),
          mountsResource(kMount), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_that_hangs_is_given_forty_minutes",
     .host = {.answers = {{.command = "mount", .nth = 1, .hangs = true}, {.command = "fsck", .hangs = true}}},
     .call = onlineIt,
     .trace =
         onlinesResource({looksUpDevice(kDevice), kMakesPoint,
                          mountsResource(kMount, {warning("executeCommand - Exec Pipe failed with error code [5]"),
                                                  warning("executeCommand - Command [" + kMount + "] has timmedout")}),
                          warning("CTARN::onlineResource - execPipe returned with error code [5]"),
                          method("getMountStatus"), kMountFailed,
                          repairs({warning("executeCommand - Exec Pipe failed with error code [5]"),
                                   warning("executeCommand - Command [" + kFsck + "] has timmedout")},
                                  error("TARN::onlineResource -execPipe.Exec failed with errorCode [5]")),
                          mountsResource(kMount), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .waits = {.limits = {600, 2400}},
     .after = handsBackPlace},
    {.name = "a_missing_mount_and_fsck_command",
     .host = {.missingCommands = {"mount", "fsck"}},
     .call = onlineIt,
     .status = ZFI_ERR_FAILED,
     .trace =
         [] {
             const Trace gone = warning("executeCommand - Exec Pipe failed with error code [7]");
             const Trace once = {mountsResource(kMount, gone),
                                 warning("CTARN::onlineResource - execPipe returned with error code [7]"),
                                 method("getMountStatus"), kMountFailed};
             return onlinesResource(
                 {looksUpDevice(kDevice), kMakesPoint, once,
                  repairs(gone, error("TARN::onlineResource -execPipe.Exec failed with errorCode [7]")), once,
                  method(
                      "dumpMountInformation",
                      {progress("dumpInformationDevice = Dumping device information for device /dev/sdb1\n"
                                "Stat information failed for the device /dev/sdb1with error code 2\n"),
                       progress(std::string("dumpInformationMount = Dumping stat information for mount point ") +
                                kPlace + "\nStat information failed for the mount point " + kPlace +
                                "with error code 2\n"),
                       progress(std::string("dumpInformationFuser: FUSER_CMD = /sbin/fuser ") + kPlace),
                       progress(std::string("dumpInformationFuser = \nDumping fuser data for mountpoint using command "
                                            "/sbin/fuser ") +
                                kPlace + "\n"),
                       progress("dumpInformationMountCmd: MOUNT_CMD = /bin/mount "),
                       progress("dumpInformationMountCmd = \nDumping information about mounted devices using command "
                                "/bin/mount \nMount command failed to print mount information with  error code 7and "
                                "output \n\n")})});
         }(),
     .commands = {kMkdirCommand, {"/sbin/fuser", kPlace}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_SUCCESS", "")},
     .after = handsBackNoPath},
    {.name = "a_table_that_is_unreadable_after_the_mount_counts_as_not_mounted",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = kBad + "\n"}},
              .changes = {{.afterText = "CTARN::onlineResource - execPipe returned with error code [11]",
                           .unreadable = true}}},
     .call = onlineIt,
     .trace =
         onlinesResource({looksUpDevice(kDevice), kMakesPoint, mountsResource(kMount, exitsWith(kMount, "32")),
                          warning("CTARN::onlineResource - execPipe returned with error code [11]"),
                          error("CTARN::onlineResource - mount command [" + kMount +
                                "] failed with errorCode [32] and message '" + kBad + "'."),
                          method("getMountStatus", {error("tarn_getsubobj: setmntent() of mnttab file failed"),
                                                    error("CTARNPlugin::getMountStatus: error from tarn_getsubobj")}),
                          kMountFailed, repairs(), mountsResource(kMount), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "each_failure_tells_its_own_output",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "one\n"},
                          {.command = "mount", .nth = 2, .exitStatus = 32, .prints = "three\n"},
                          {.command = "fsck", .exitStatus = 8, .prints = "two\n"}}},
     .call = onlineIt,
     .status = ZFI_ERR_FAILED,
     .trace = onlinesResource(
         {looksUpDevice(kDevice), kMakesPoint, mountFails("one"), kMountFailed,
          repairs(exitsWith(kFsck, "8"), {error("TARN::onlineResource -execPipe.Exec failed with errorCode [11]"),
                                          progress("FSCK command failed with errorCode [8] message 'two'.")}),
          mountFails("three"), kMountFailed, kDumpsNothingThere}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand, {"/sbin/fuser", kPlace}, {"/bin/mount"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_SUCCESS", "")},
     .after = handsBackNoPath},
    {.name = "a_device_with_a_blank_is_mounted_but_its_fsck_is_split",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32}}},
     .call = [](Bed& bed) { return onlineResourceAt(bed, "/dev/my disk", BED_ROOT); },
     .trace =
         [] {
             const std::string mount = "/bin/mount  \"/dev/my disk\" \"" BED_ROOT "\"";
             const std::string fsck = "/sbin/fsck -y  /dev/my disk";
             return onlinesResource(
                 {looksUpDevice("/dev/my disk"), mountsResource(mount, exitsWith(mount, "32")),
                  warning("CTARN::onlineResource - execPipe returned with error code [11]"),
                  error("CTARN::onlineResource - mount command [" + mount +
                        "] failed with errorCode [32] and message ''."),
                  method("getMountStatus"), kMountFailed, progress("CTARN::onlineResource - trying fsck command"),
                  progress("fsck Command : " + fsck), executes(fsck), mountsResource(mount), kHandsBack});
         }(),
     .commands = {{"/bin/mount", "/dev/my disk", BED_ROOT},
                  {"/sbin/fsck", "-y", "/dev/my", "disk"},
                  {"/bin/mount", "/dev/my disk", BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "a_mount_point_that_cannot_be_made",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1, .prints = "no\n"}}},
     .call = onlineIt,
     .status = ZFI_ERR_FAILED,
     .trace = onlinesResource(
         {looksUpDevice(kDevice),
          method("createMntPoint",
                 {progress(std::string("Command : /bin/mkdir -p  \"") + kPlace + "\""),
                  error(std::string("command '/bin/mkdir -p  \"") + kPlace + "\"' failed with message 'no'.")})}),
     .commands = {kMkdirCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", std::string("/bin/mkdir -p  \"") + kPlace + "\"")},
     .after = handsBackNoPath},
    {.name = "no_memory_for_the_array_of_a_mounted_device",
     .host = {.mountTable = kMountedTable},
     .faults = {.noPathArray = true},
     .call = onlineIt,
     .status = ZFI_ERR_NO_MEMORY,
     .trace = onlinesResource(
         {detail("Calling znfs_getmnt for :/dev/sdb1"),
          progress(std::string("Device: /dev/sdb1 :: mntPoint: ") + kPlace),
          progress("Device {/dev/sdb1} is already mounted"),
          method("createPathAndAllocBuffer", error("CTARNPlugin::createPathAndAllocBuffer memory allocation failed")),
          error("CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer()")}),
     .after = handsBackNoPath},
    {.name = "no_memory_for_the_array_after_a_mount",
     .faults = {.noPathArray = true},
     .call = onlineIt,
     .status = ZFI_ERR_NO_MEMORY,
     .trace = onlinesResource(
         {looksUpDevice(kDevice), kMakesPoint, mountsResource(kMount),
          method("createPathAndAllocBuffer", error("CTARNPlugin::createPathAndAllocBuffer memory allocation failed")),
          error("CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer")}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackNoPath},
    {.name = "no_memory_for_the_path_after_a_mount",
     .faults = {.noBufferAtCall = 1},
     .call = onlineIt,
     .status = ZFI_ERR_NO_MEMORY,
     .trace = onlinesResource(
         {looksUpDevice(kDevice), kMakesPoint, mountsResource(kMount),
          method("createPathAndAllocBuffer", error("CTARNPlugin::createPathAndAllocBuffer memory allocation failed")),
          error("CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer")}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackNoPath},
    {.name = "no_device_is_refused",
     .call =
         [](Bed& bed) {
             char* none[] = {nullptr};
             const auto onlineNone = [&bed](char** devices) {
                 return bed.call().online_resource(devices, 1, bed.text(kPlace), nullptr, bed.text("<"), nullptr, 0,
                                                   &bed.outPaths, &bed.outInt);
             };
             EXPECT_EQ(onlineNone(none), ZFI_ERR_INVALID_ARGUMENT);
             return onlineNone(nullptr);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = {onlinesResource({}), onlinesResource({})},
     .after = handsBackNoPath},
    {.name = "null_out_pointers_are_refused",
     .call =
         [](Bed& bed) {
             char* devices[] = {bed.text(kDevice)};
             EXPECT_EQ(
                 bed.call().online_resource(devices, 1, nullptr, nullptr, nullptr, nullptr, 0, nullptr, &bed.outInt),
                 ZFI_ERR_INVALID_ARGUMENT);
             return bed.call().online_resource(devices, 1, nullptr, nullptr, nullptr, nullptr, 0, &bed.outPaths,
                                               nullptr);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = {onlinesResource(
                   error("CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL")),
               onlinesResource(
                   error("CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL"))},
     .after = handsBackNoPath},
};
CONTRACT_TABLE(OnlineResource, kOnline);

}  // namespace
