// Bringing a restored volume online: online_resource, with its diagnostics.
#include <sys/stat.h>

#include <cstring>

#include "bed/layout.h"
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

int onlineAt(Bed& bed, const char* device, const char* place, const char* options = nullptr) {
    char* devices[] = {bed.text(device)};
    return bed.call().online_resource(devices, 1, place == nullptr ? nullptr : bed.text(place), nullptr,
                                      options == nullptr ? nullptr : bed.text(options), nullptr, 0, &bed.outPaths,
                                      &bed.outInt);
}

int onlineIt(Bed& bed) {
    return onlineAt(bed, kDevice, kPlace);
}

Trace onlines(const Trace& inside) {
    return entry("online_resource", method("onlineResource", inside));
}

Trace looksUp(const std::string& device = kDevice) {
    return {detail("Calling znfs_getmnt for :" + device), error("tarn_getmnt: device [" + device + "] is not mounted")};
}

const Trace kMakesPoint = primitive("createMntPoint", std::string("/bin/mkdir -p  \"") + kPlace + "\"");
const Trace kHandsBack = method("createPathAndAllocBuffer");

Trace exits(const std::string& command, const std::string& status) {
    return {warning("executeCommand - Exec Pipe failed with error code [11]"),
            warning("executeCommand - Command [" + command + "] failed with error code [" + status + "]")};
}

Trace mounts(const std::string& command = kMount, const Trace& failure = {}) {
    return {progress("TARN::onlineResource - mount command = " + command), executes(command, failure)};
}

// A mount that ran and failed, the device still not mounted.
Trace mountFails(const std::string& output) {
    return {mounts(kMount, exits(kMount, "32")),
            warning("CTARN::onlineResource - execPipe returned with error code [11]"),
            error("CTARN::onlineResource - mount command [" + kMount + "] failed with errorCode [32] and message '" +
                  output + "'."),
            method("getMountStatus")};
}

const Line kFailed = error("CTARN::onlineResource - mount command failed to mount device");

Trace repairs(const Trace& failureInside = {}, const Trace& failureAfter = {}) {
    return {progress("CTARN::onlineResource - trying fsck command"), progress("fsck Command : " + kFsck),
            executes(kFsck, failureInside), failureAfter};
}

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

void handsBackNothing(Bed& bed) {
    EXPECT_EQ(bed.outInt, -77);
    EXPECT_EQ(bed.outPaths, nullptr);
}

const Answer kMountFails = {.command = "mount", .exitStatus = 32, .prints = "bad\n superblock\n"};
const std::string kBad = "bad superblock";
const std::string kMountedTable = std::string("/dev/sdb1 ") + kPlace + " ext3 rw 0 0\n";

const Row kOnline[] = {
    {.name = "mounts_at_a_new_mount_point",
     .call = onlineIt,
     .trace = onlines({looksUp(), kMakesPoint, mounts(), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "a_mount_point_that_exists_is_not_made",
     .call = [](Bed& bed) { return onlineAt(bed, kDevice, BED_ROOT); },
     .trace = onlines({looksUp(), mounts("/bin/mount  \"/dev/sdb1\" \"" BED_ROOT "\""), kHandsBack}),
     .commands = {{"/bin/mount", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "mount_options_are_passed",
     .call =
         [](Bed& bed) {
             return onlineAt(bed, kDevice, BED_ROOT,
                             "<FORMAT_OPTIONS><OPTION name=\"mountOptions\">ro,noatime</OPTION></FORMAT_OPTIONS>");
         },
     .trace = onlines({progress("TARN::onlineResource - options = <FORMAT_OPTIONS><OPTION "
                                "name=\"mountOptions\">ro,noatime</OPTION></FORMAT_OPTIONS>"),
                       looksUp(), mounts("/bin/mount  -o ro,noatime \"/dev/sdb1\" \"" BED_ROOT "\""), kHandsBack}),
     .commands = {{"/bin/mount", "-o", "ro,noatime", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "options_without_mount_options_bring_no_option_part",
     .call =
         [](Bed& bed) {
             return onlineAt(bed, kDevice, BED_ROOT,
                             "<FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">-q</OPTION></FORMAT_OPTIONS>");
         },
     .trace = onlines({progress("TARN::onlineResource - options = <FORMAT_OPTIONS><OPTION "
                                "name=\"mkfsOptions\">-q</OPTION></FORMAT_OPTIONS>"),
                       looksUp(), mounts("/bin/mount  \"/dev/sdb1\" \"" BED_ROOT "\""), kHandsBack}),
     .commands = {{"/bin/mount", kDevice, BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "a_null_mount_point_is_derived_from_the_device",
     .call = [](Bed& bed) { return onlineAt(bed, kDevice, nullptr); },
     .trace = onlines({method("generateName"), looksUp(), primitive("createMntPoint", "/bin/mkdir -p  \"/sdb1\""),
                       mounts("/bin/mount  \"/dev/sdb1\" \"/sdb1\""), kHandsBack}),
     .commands = {{"/bin/mkdir", "-p", "/sdb1"}, {"/bin/mount", kDevice, "/sdb1"}},
     .after = [](Bed& bed) { handsBack(bed, "/sdb1"); }},
    {.name = "a_device_without_slash_gets_one_in_front",
     .call = [](Bed& bed) { return onlineAt(bed, "data", nullptr); },
     .trace = onlines({method("generateName"), looksUp("data"), primitive("createMntPoint", "/bin/mkdir -p  \"/data\""),
                       mounts("/bin/mount  \"data\" \"/data\""), kHandsBack}),
     .commands = {{"/bin/mkdir", "-p", "/data"}, {"/bin/mount", "data", "/data"}},
     .after = [](Bed& bed) { handsBack(bed, "/data"); }},
    {.name = "a_lone_slash_stays_a_lone_slash",
     .call = [](Bed& bed) { return onlineAt(bed, "/", nullptr); },
     .trace = onlines({method("generateName"), looksUp("/"), mounts("/bin/mount  \"/\" \"/\""), kHandsBack}),
     .commands = {{"/bin/mount", "/", "/"}},
     .after = [](Bed& bed) { handsBack(bed, "/"); }},
    {.name = "a_trailing_slash_gives_a_lone_slash",
     .call = [](Bed& bed) { return onlineAt(bed, "/a/b/", nullptr); },
     .trace = onlines({method("generateName"), looksUp("/a/b/"), mounts("/bin/mount  \"/a/b/\" \"/\""), kHandsBack}),
     .commands = {{"/bin/mount", "/a/b/", "/"}},
     .after = [](Bed& bed) { handsBack(bed, "/"); }},
    {.name = "mounted_at_the_wanted_place_runs_nothing",
     .host = {.mountTable = kMountedTable},
     .call = onlineIt,
     .trace = onlines({detail("Calling znfs_getmnt for :/dev/sdb1"),
                       progress(std::string("Device: /dev/sdb1 :: mntPoint: ") + kPlace),
                       progress("Device {/dev/sdb1} is already mounted"), kHandsBack}),
     .after = handsBackPlace},
    {.name = "mounted_elsewhere",
     .host = {.mountTable = "/dev/sdb1 /else ext3 rw 0 0\n" + kMountedTable},
     .call = onlineIt,
     .status = ZFI_ERR_MOUNTED_ELSEWHERE,
     .trace = onlines({detail("Calling znfs_getmnt for :/dev/sdb1"), progress("Device: /dev/sdb1 :: mntPoint: /else"),
                       error("Device {/dev/sdb1} is mounted on different mount point already")}),
     .after = handsBackNothing},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .call = onlineIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = onlines({detail("Calling znfs_getmnt for :/dev/sdb1"),
                       error("tarn_getmnt: fopen() of mnttab file failed"), error("Mount point entry lookup failed")}),
     .after = handsBackNothing},
    {.name = "a_mount_that_fails_but_took_effect",
     .host = {.answers = {{.command = "mount",
                           .exitStatus = 32,
                           .prints = kBad + "\n",
                           .setsMountTable = true,
                           .mountTable = kMountedTable}}},
     .call = onlineIt,
     .trace = onlines({looksUp(), kMakesPoint, mountFails(kBad),
                       warning("CTARN::onlineResource - device is mounted on mountPoint"), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_repairs_it",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = kBad + "\n"}}},
     .call = onlineIt,
     .trace = onlines({looksUp(), kMakesPoint, mountFails(kBad), kFailed, repairs(), mounts(), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_that_fails_does_not_end_it",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = kBad + "\n"},
                          {.command = "fsck", .exitStatus = 4, .prints = "errors\n left\n"}}},
     .call = onlineIt,
     .trace = onlines(
         {looksUp(), kMakesPoint, mountFails(kBad), kFailed,
          repairs(exits(kFsck, "4"), {error("TARN::onlineResource -execPipe.Exec failed with errorCode [11]"),
                                      progress("FSCK command failed with errorCode [4] message 'errors left'.")}),
          mounts(), kHandsBack}),
     .commands = {kMkdirCommand, kMountCommand, kFsckCommand, kMountCommand},
     .after = handsBackPlace},
    {.name = "an_fsck_that_hangs_is_given_forty_minutes",
     .host = {.answers = {{.command = "mount", .nth = 1, .hangs = true}, {.command = "fsck", .hangs = true}}},
     .call = onlineIt,
     .trace = onlines({looksUp(), kMakesPoint,
                       mounts(kMount, {warning("executeCommand - Exec Pipe failed with error code [5]"),
                                       warning("executeCommand - Command [" + kMount + "] has timmedout")}),
                       warning("CTARN::onlineResource - execPipe returned with error code [5]"),
                       method("getMountStatus"), kFailed,
                       repairs({warning("executeCommand - Exec Pipe failed with error code [5]"),
                                warning("executeCommand - Command [" + kFsck + "] has timmedout")},
                               error("TARN::onlineResource -execPipe.Exec failed with errorCode [5]")),
                       mounts(), kHandsBack}),
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
             const Trace once = {mounts(kMount, gone),
                                 warning("CTARN::onlineResource - execPipe returned with error code [7]"),
                                 method("getMountStatus"), kFailed};
             return onlines(
                 {looksUp(), kMakesPoint, once,
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
     .after = handsBackNothing},
    {.name = "a_device_with_a_blank_is_mounted_but_its_fsck_is_split",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32}}},
     .call = [](Bed& bed) { return onlineAt(bed, "/dev/my disk", BED_ROOT); },
     .trace =
         [] {
             const std::string mount = "/bin/mount  \"/dev/my disk\" \"" BED_ROOT "\"";
             const std::string fsck = "/sbin/fsck -y  /dev/my disk";
             return onlines({looksUp("/dev/my disk"), mounts(mount, exits(mount, "32")),
                             warning("CTARN::onlineResource - execPipe returned with error code [11]"),
                             error("CTARN::onlineResource - mount command [" + mount +
                                   "] failed with errorCode [32] and message ''."),
                             method("getMountStatus"), kFailed, progress("CTARN::onlineResource - trying fsck command"),
                             progress("fsck Command : " + fsck), executes(fsck), mounts(mount), kHandsBack});
         }(),
     .commands = {{"/bin/mount", "/dev/my disk", BED_ROOT},
                  {"/sbin/fsck", "-y", "/dev/my", "disk"},
                  {"/bin/mount", "/dev/my disk", BED_ROOT}},
     .after = [](Bed& bed) { handsBack(bed, BED_ROOT); }},
    {.name = "a_mount_point_that_cannot_be_made",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1, .prints = "no\n"}}},
     .call = onlineIt,
     .status = ZFI_ERR_FAILED,
     .trace = onlines(
         {looksUp(), method("createMntPoint", {progress(std::string("Command : /bin/mkdir -p  \"") + kPlace + "\""),
                                               error(std::string("command '/bin/mkdir -p  \"") + kPlace +
                                                     "\"' failed with message 'no'.")})}),
     .commands = {kMkdirCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", std::string("/bin/mkdir -p  \"") + kPlace + "\"")},
     .after = handsBackNothing},
    {.name = "no_memory_for_the_array_of_a_mounted_device",
     .host = {.mountTable = kMountedTable},
     .faults = {.noPathArray = true},
     .call = onlineIt,
     .status = ZFI_ERR_NO_MEMORY,
     .trace = onlines(
         {detail("Calling znfs_getmnt for :/dev/sdb1"),
          progress(std::string("Device: /dev/sdb1 :: mntPoint: ") + kPlace),
          progress("Device {/dev/sdb1} is already mounted"),
          method("createPathAndAllocBuffer", error("CTARNPlugin::createPathAndAllocBuffer memory allocation failed")),
          error("CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer()")}),
     .after = handsBackNothing},
    {.name = "no_memory_for_the_array_after_a_mount",
     .faults = {.noPathArray = true},
     .call = onlineIt,
     .status = ZFI_ERR_NO_MEMORY,
     .trace = onlines(
         {looksUp(), kMakesPoint, mounts(),
          method("createPathAndAllocBuffer", error("CTARNPlugin::createPathAndAllocBuffer memory allocation failed")),
          error("CTARNPlugin::onlineResource: error from CTARNPlugin::createPathAndAllocBuffer")}),
     .commands = {kMkdirCommand, kMountCommand},
     .after = handsBackNothing},
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
     .trace = {onlines(error("CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL")),
               onlines(error("CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL"))},
     .after = handsBackNothing},
};
CONTRACT_TABLE(OnlineResource, kOnline);

// ---- The diagnostics of a device and a mount point that exist
// --------------------------------------------------------

std::string tag(const std::string& name, unsigned long long value) {
    return "<statData." + name + ">" + std::to_string(value) + "</statData." + name + ">";
}

std::string describes(const struct stat& data) {
    return tag("st_mode", data.st_mode) + tag("st_dev", data.st_dev) + tag("st_nlink", data.st_nlink) +
           tag("st_uid", data.st_uid) + tag("st_gid", data.st_gid) +
           tag("st_atime", static_cast<unsigned long long>(data.st_atime)) +
           tag("st_ctime", static_cast<unsigned long long>(data.st_ctime));
}

struct stat statOf(const char* path) {
    struct stat data {};
    EXPECT_EQ(stat(path, &data), 0) << path;
    return data;
}

Trace dumps(const std::string& users, const std::string& list) {
    const struct stat device = statOf("/dev/null");
    const struct stat place = statOf(BED_ROOT);
    return method(
        "dumpMountInformation",
        {progress("dumpInformationDevice = Dumping device information for device /dev/null\n"
                  "Dumping stat information for device /dev/null\n" +
                  describes(device) + tag("st_dev", device.st_dev) + tag("st_rdev", device.st_rdev)),
         progress("dumpInformationMount = Dumping stat information for mount point " BED_ROOT "\n"
                  "Dumping stat information for mount point " BED_ROOT "\n" +
                  describes(place)),
         progress("dumpInformationFuser: FUSER_CMD = /sbin/fuser " BED_ROOT),
         progress("dumpInformationFuser = \nDumping fuser data for mountpoint using command /sbin/fuser " BED_ROOT
                  "\n" +
                  users),
         progress("dumpInformationMountCmd: MOUNT_CMD = /bin/mount "),
         progress("dumpInformationMountCmd = \nDumping information about mounted devices using command /bin/mount \n" +
                  list)});
}

Row diagnosed(const char* name, const std::vector<Answer>& answers, const std::string& users, const std::string& list) {
    const std::string mount = "/bin/mount  \"/dev/null\" \"" BED_ROOT "\"";
    const std::string fsck = "/sbin/fsck -y  /dev/null";
    const Command mountCommand = {"/bin/mount", "/dev/null", BED_ROOT};
    return {.name = name,
            .host = {.answers = answers},
            .call = [](Bed& bed) { return onlineAt(bed, "/dev/null", BED_ROOT); },
            .status = ZFI_ERR_FAILED,
            .commands = {mountCommand,
                         {"/sbin/fsck", "-y", "/dev/null"},
                         mountCommand,
                         {"/sbin/fuser", BED_ROOT},
                         {"/bin/mount"}},
            .messages = {failedCommand("ZFI_EXEC_PIPE_SUCCESS", "")},
            .traceNow =
                [=] {
                    const Trace once = {mounts(mount, exits(mount, "32")),
                                        warning("CTARN::onlineResource - execPipe returned with error code [11]"),
                                        error("CTARN::onlineResource - mount command [" + mount +
                                              "] failed with errorCode [32] and message ''."),
                                        method("getMountStatus"), kFailed};
                    return onlines({looksUp("/dev/null"), once, progress("CTARN::onlineResource - trying fsck command"),
                                    progress("fsck Command : " + fsck), executes(fsck), once, dumps(users, list)});
                },
            .after = handsBackNothing};
}

const Answer kFirstMount = {.command = "mount", .nth = 1, .exitStatus = 32};
const Answer kSecondMount = {.command = "mount", .nth = 2, .exitStatus = 32};

const Row kDiagnostics[] = {
    diagnosed("users_and_mounts_that_are_printed",
              {kFirstMount,
               kSecondMount,
               {.command = "fuser", .prints = " 1\n 22c\n"},
               {.command = "mount", .prints = "a on /\nb on /c\n"}},
              " 1 22c", "a on /b on /c"),
    diagnosed("an_idle_mount_point_is_a_fuser_that_failed",
              {kFirstMount, kSecondMount, {.command = "fuser", .exitStatus = 1}, {.command = "mount", .prints = "x\n"}},
              "fuser command failed to print usage information with  error code 11and output \n\n", "x"),
    diagnosed("a_fuser_and_a_mount_list_that_fail_with_words",
              {{.command = "mount", .nth = 3, .exitStatus = 1, .prints = "no\n list\n"},
               kFirstMount,
               kSecondMount,
               {.command = "fuser", .exitStatus = 1, .prints = "cannot\n look\n"}},
              "fuser command failed to print usage information with  error code 11and output \ncannot look\n",
              "Mount command failed to print mount information with  error code 11and output \nno list\n"),
};
CONTRACT_TABLE(Diagnostics, kDiagnostics);

}  // namespace
