// What the plug-in says of the host when a mount fails for no reason that the command gives: a device and a mount point
// that exist. Those that do not are in the tables of the methods.
#include <sys/stat.h>

#include "bed/layout.h"
#include "bed/online_resource_rows.h"
#include "bed/row.h"

namespace {

using namespace bed;

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
    return {
        .name = name,
        .host = {.answers = answers},
        .call = [](Bed& bed) { return onlineResourceAt(bed, "/dev/null", BED_ROOT); },
        .status = ZFI_ERR_FAILED,
        .commands =
            {mountCommand, {"/sbin/fsck", "-y", "/dev/null"}, mountCommand, {"/sbin/fuser", BED_ROOT}, {"/bin/mount"}},
        .messages = {failedCommand("ZFI_EXEC_PIPE_SUCCESS", "")},
        .traceNow =
            [=] {
                const Trace once = {mountsResource(mount, exitsWith(mount, "32")),
                                    warning("CTARN::onlineResource - execPipe returned with error code [11]"),
                                    error("CTARN::onlineResource - mount command [" + mount +
                                          "] failed with errorCode [32] and message ''."),
                                    method("getMountStatus"), kMountFailed};
                return onlinesResource({looksUpDevice("/dev/null"), once,
                                        progress("CTARN::onlineResource - trying fsck command"),
                                        progress("fsck Command : " + fsck), executes(fsck), once, dumps(users, list)});
            },
        .after = handsBackNoPath};
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
