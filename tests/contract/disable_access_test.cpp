// Unmounting the origin: disable_access.
#include "bed/access_rows.h"
#include "bed/row.h"

namespace {

using namespace bed;

constexpr long kForce = 0x10;

const char* const kTable = "/dev/sdb1 /data ext3 rw 0 0\n/dev/sdc1 /logs ext3 rw 0 0\n";
const std::string kUmount = "/bin/umount  \"/data\"";
const Command kUmountCommand = {"/bin/umount", "/data"};
const std::string kKill15 = "/sbin/fuser -15 -k -m /data";
const std::string kKill9 = "/sbin/fuser -9 -k -m /data";
const Command kKill15Command = {"/sbin/fuser", "-15", "-k", "-m", "/data"};
const Command kKill9Command = {"/sbin/fuser", "-9", "-k", "-m", "/data"};

int disable(Bed& bed, long flags = 0) {
    return bed.call().disable_access(&bed.accessList.front(), flags);
}
int disableIt(Bed& bed) {
    return disable(bed);
}
int disableByForce(Bed& bed) {
    return disable(bed, kForce);
}

Trace disables(const Trace& inside) {
    return entry("disable_access", method("disableAccess", inside));
}

Trace unmounts(const std::string& path, const Trace& failureInside = {}, const Trace& failureAfter = {}) {
    const std::string command = "/bin/umount  \"" + path + "\"";
    return method("unmountDevice",
                  {progress("unmountDevice - Command : " + command), executes(command, failureInside), failureAfter});
}

Trace exits(const std::string& command, const std::string& status) {
    return {warning("executeCommand - Exec Pipe failed with error code [11]"),
            warning("executeCommand - Command [" + command + "] failed with error code [" + status + "]")};
}

// What unmountDevice says of a command that ended with this status and output.
Trace umountSays(const std::string& status, const std::string& output) {
    return {warning("Exec Pipe failed with error code [11]"),
            warning("Command [" + kUmount + "] failed with error code [" + status + "] and message [" + output + "]")};
}

Trace busy(const std::string& output) {
    return unmounts("/data", exits(kUmount, "32"), {umountSays("32", output), warning("Device /data is busy")});
}

Trace kills(const std::string& command) {
    return warning("Attempting force umount of device /data with command:" + command);
}

const Trace kTurnsToForce = {warning("Failed to offline volume /data."), warning("Trying to unmount using fuser.")};

// The diagnostics of a mount point that does not exist, with commands that succeed and print nothing.
const Trace kDiagnostics = method(
    "dumpMountInformation",
    {progress("dumpInformationMount = Dumping stat information for mount point /data\n"
              "Stat information failed for the mount point /datawith error code 2\n"),
     progress("dumpInformationFuser: FUSER_CMD = /sbin/fuser /data"),
     progress("dumpInformationFuser = \nDumping fuser data for mountpoint using command /sbin/fuser /data\n"),
     progress("dumpInformationMountCmd: MOUNT_CMD = /bin/mount "),
     progress("dumpInformationMountCmd = \nDumping information about mounted devices using command /bin/mount \n")});
const Command kFuserShows = {"/sbin/fuser", "/data"};
const Command kMountShows = {"/bin/mount"};

const Answer kBusy = {.command = "umount", .exitStatus = 32, .prints = "umount: /data: target is busy\n"};
const std::string kBusyText = "umount: /data: target is busy";

void oneNode(Bed& bed) {
    addToAccessList(bed, "/data", {"/dev/sdb1"});
}

void twoNodes(Bed& bed) {
    oneNode(bed);
    addToAccessList(bed, "/logs", {"/dev/sdc1"});
}

const Row kDisable[] = {
    {.name = "every_mounted_node_is_unmounted_and_marked",
     .host = {.mountTable = kTable},
     .before = twoNodes,
     .call = disableIt,
     .trace = disables({unmounts("/data"), unmounts("/logs")}),
     .commands = {kUmountCommand, {"/bin/umount", "/logs"}},
     .after = offlineAre({true, true})},
    {.name = "the_force_flag_does_not_change_the_command",
     .host = {.mountTable = kTable},
     .before = oneNode,
     .call = disableByForce,
     .trace = disables(unmounts("/data")),
     .commands = {kUmountCommand},
     .after = offlineAre({true})},
    {.name = "a_node_that_is_not_mounted_is_marked_without_any_command",
     .before = oneNode,
     .call = disableIt,
     .trace = disables({}),
     .after = offlineAre({true})},
    {.name = "the_mark_leaves_the_other_bits_alone",
     .before =
         [](Bed& bed) {
             oneNode(bed);
             bed.accessList.front().node->state = ~ZFI_STATE_OFFLINE;
         },
     .call = disableIt,
     .trace = disables({}),
     .after = [](Bed& bed) { EXPECT_EQ(bed.accessList.front().node->state, 0xffffffffU); }},
    {.name = "a_node_that_is_marked_already_is_passed_over",
     .host = {.mountTable = kTable},
     .before =
         [](Bed& bed) {
             twoNodes(bed);
             bed.accessList.front().node->state |= ZFI_STATE_OFFLINE;
         },
     .call = disableIt,
     .trace = disables(unmounts("/logs")),
     .commands = {{"/bin/umount", "/logs"}},
     .after = offlineAre({true, true})},
    {.name = "ndmp_ends_the_list_as_a_success",
     .host = {.mountTable = kTable},
     .before =
         [](Bed& bed) {
             addToAccessList(bed, "NDMP:/vol/x", {"/dev/sdb1"});
             oneNode(bed);
         },
     .call = disableIt,
     .trace = disables(progress("NDMP USECASE: disableAccess is no op  NDMP:/vol/x")),
     .after = offlineAre({false, false})},
    {.name = "ndmp_is_no_matter_of_the_device",
     .host = {.mountTable = "NDMP:/vol/x /data nfs rw 0 0\n"},
     .before = [](Bed& bed) { addToAccessList(bed, "/data", {"NDMP:/vol/x"}); },
     .call = disableIt,
     .trace = disables(unmounts("/data")),
     .commands = {kUmountCommand},
     .after = offlineAre({true})},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = disables({error("tarn_get_mntent: fopen() of mnttab file failed"),
                        error("CTARNPlugin::disableAccess: mnt-tab file open failed.")}),
     .after = offlineAre({false})},
    {.name = "busy_without_force_fails_and_kills_nobody",
     .host = {.mountTable = kTable, .answers = {kBusy}},
     .before = twoNodes,
     .call = disableIt,
     .status = ZFI_ERR_BUSY,
     .trace = disables({busy(kBusyText), error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand},
     .after = offlineAre({false, false})},
    {.name = "no_other_flag_forces",
     .host = {.mountTable = kTable, .answers = {kBusy}},
     .before = oneNode,
     .call = [](Bed& bed) { return disable(bed, ~kForce); },
     .status = ZFI_ERR_BUSY,
     .trace = disables({busy(kBusyText), error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand},
     .after = offlineAre({false})},
    {.name = "busy_in_any_line_of_the_output_counts",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .exitStatus = 32, .prints = "first\nis busy now\nlast\n"}}},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_BUSY,
     .trace =
         disables({busy("firstis busy nowlast"), error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand},
     .after = offlineAre({false})},
    {.name = "an_earlier_success_stays_when_a_later_node_fails",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .nth = 1},
                          {.command = "umount", .nth = 2, .exitStatus = 32, .prints = "busy\n"}}},
     .before = twoNodes,
     .call = disableIt,
     .status = ZFI_ERR_BUSY,
     .trace =
         disables({unmounts("/data"),
                   method("unmountDevice",
                          {progress("unmountDevice - Command : /bin/umount  \"/logs\""),
                           executes("/bin/umount  \"/logs\"", exits("/bin/umount  \"/logs\"", "32")),
                           warning("Exec Pipe failed with error code [11]"),
                           warning("Command [/bin/umount  \"/logs\"] failed with error code [32] and message [busy]"),
                           warning("Device /logs is busy")}),
                   error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand, {"/bin/umount", "/logs"}},
     .after = offlineAre({true, false})},
    {.name = "force_kills_with_signal_15_and_unmounts",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .nth = 1, .exitStatus = 32, .prints = kBusyText + "\n"}}},
     .before = oneNode,
     .call = disableByForce,
     .trace = disables({busy(kBusyText), kTurnsToForce, kills(kKill15), unmounts("/data")}),
     .commands = {kUmountCommand, kKill15Command, kUmountCommand},
     .after = offlineAre({true})},
    {.name = "force_escalates_to_signal_9",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .nth = 3}, kBusy}},
     .before = oneNode,
     .call = disableByForce,
     .trace = disables({busy(kBusyText), kTurnsToForce, kills(kKill15), busy(kBusyText),
                        error("force_unmount: error from unmountDevice() for device [/data]"), kills(kKill9),
                        unmounts("/data")}),
     .commands = {kUmountCommand, kKill15Command, kUmountCommand, kKill9Command, kUmountCommand},
     .after = offlineAre({true})},
    {.name = "force_that_does_not_help_answers_its_last_status",
     .host = {.mountTable = kTable, .answers = {kBusy}},
     .before = oneNode,
     .call = disableByForce,
     .status = ZFI_ERR_BUSY,
     .trace = disables({busy(kBusyText), kTurnsToForce, kills(kKill15), busy(kBusyText),
                        error("force_unmount: error from unmountDevice() for device [/data]"), kills(kKill9),
                        busy(kBusyText), error("force_unmount: error from unmountDevice() for device [/data]"),
                        error("CTARNPlugin::disableAccess: error from force_unmount().")}),
     .commands = {kUmountCommand, kKill15Command, kUmountCommand, kKill9Command, kUmountCommand},
     .after = offlineAre({false})},
    {.name = "the_status_of_the_second_force_is_the_answer",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .nth = 3, .exitStatus = 1, .prints = "odd\n"}, kBusy}},
     .before = oneNode,
     .call = disableByForce,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables(
         {busy(kBusyText), kTurnsToForce, kills(kKill15), busy(kBusyText),
          error("force_unmount: error from unmountDevice() for device [/data]"), kills(kKill9),
          unmounts("/data", exits(kUmount, "1"),
                   {umountSays("1", "odd"), method("getMountStatus"),
                    error("TARN::unmountDevice - Exec Pipe failed with error code [11]"),
                    error("TARN::unmountDevice - Command [" + kUmount + "] failed with error code [1]"), kDiagnostics}),
          error("force_unmount: error from unmountDevice() for device [/data]"),
          error("CTARNPlugin::disableAccess: error from force_unmount().")}),
     .commands = {kUmountCommand, kKill15Command, kUmountCommand, kKill9Command, kUmountCommand, kFuserShows,
                  kMountShows},
     .after = offlineAre({false})},
    {.name = "an_answer_of_another_kind_is_not_forced",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .exitStatus = 1, .prints = "odd\n"}}},
     .before = oneNode,
     .call = disableByForce,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables(
         {unmounts("/data", exits(kUmount, "1"),
                   {umountSays("1", "odd"), method("getMountStatus"),
                    error("TARN::unmountDevice - Exec Pipe failed with error code [11]"),
                    error("TARN::unmountDevice - Command [" + kUmount + "] failed with error code [1]"), kDiagnostics}),
          error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand, kFuserShows, kMountShows},
     .after = offlineAre({false})},
    {.name = "a_repeated_call_goes_on_with_the_nodes_not_yet_done",
     .host = {.mountTable = kTable},
     .before =
         [](Bed& bed) {
             twoNodes(bed);
             shapeHost({.mountTable = kTable,
                        .answers = {{.command = "umount", .nth = 2, .exitStatus = 32, .prints = "busy\n"}}});
             EXPECT_EQ(disableIt(bed), ZFI_ERR_BUSY);
         },
     .call = disableIt,
     .trace = disables(unmounts("/logs")),
     .commands = {{"/bin/umount", "/logs"}},
     .after = offlineAre({true, true})},
    {.name = "a_fuser_that_fails_ends_it",
     .host = {.mountTable = kTable, .answers = {kBusy, {.command = "fuser", .exitStatus = 1, .prints = "nobody\n"}}},
     .before = oneNode,
     .call = disableByForce,
     .status = ZFI_ERR_FAILED,
     .trace = disables({busy(kBusyText), kTurnsToForce, kills(kKill15), progress("failed to call fuser: " + kKill15)}),
     .commands = {kUmountCommand, kKill15Command},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kKill15)},
     .after = offlineAre({false})},
    {.name = "a_umount_that_fails_although_it_took_effect",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .exitStatus = 1, .prints = "odd\n", .setsMountTable = true}}},
     .before = oneNode,
     .call = disableIt,
     .trace = disables(unmounts(
         "/data", exits(kUmount, "1"),
         {umountSays("1", "odd"), method("getMountStatus"), warning("unmountDevice - Device unmount was succesful")})),
     .commands = {kUmountCommand},
     .after = offlineAre({true})},
    {.name = "a_umount_that_fails_writes_the_diagnostics",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .exitStatus = 1, .prints = "odd\n"}}},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables(
         {unmounts("/data", exits(kUmount, "1"),
                   {umountSays("1", "odd"), method("getMountStatus"),
                    error("TARN::unmountDevice - Exec Pipe failed with error code [11]"),
                    error("TARN::unmountDevice - Command [" + kUmount + "] failed with error code [1]"), kDiagnostics}),
          error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand, kFuserShows, kMountShows},
     .after = offlineAre({false})},
    {.name = "a_umount_that_fails_with_the_table_unreadable_afterwards",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .exitStatus = 1}},
              .changes = {{.afterText = "executeCommand - Command : " + kUmount, .unreadable = true}}},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables(
         {unmounts("/data", exits(kUmount, "1"),
                   {umountSays("1", ""),
                    method("getMountStatus", {error("tarn_getsubobj: setmntent() of mnttab file failed"),
                                              error("CTARNPlugin::getMountStatus: error from tarn_getsubobj")}),
                    error("TARN::unmountDevice - Exec Pipe failed with error code [11]"),
                    error("TARN::unmountDevice - Command [" + kUmount + "] failed with error code [1]"), kDiagnostics}),
          error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand, kFuserShows, kMountShows},
     .after = offlineAre({false})},
    {.name = "a_umount_that_hangs_is_given_ten_minutes",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .hangs = true}}},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables({unmounts("/data",
                                 {warning("executeCommand - Exec Pipe failed with error code [5]"),
                                  warning("executeCommand - Command [" + kUmount + "] has timmedout")},
                                 {warning("Exec Pipe failed with error code [5]"), method("getMountStatus"),
                                  error("TARN::unmountDevice - Exec Pipe failed with error code [5]"), kDiagnostics}),
                        error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kUmountCommand, kFuserShows, kMountShows},
     .waits = {.limits = {600}},
     .after = offlineAre({false})},
    {.name = "a_umount_command_that_does_not_exist",
     .host = {.mountTable = kTable, .missingCommands = {"umount"}},
     .before = oneNode,
     .call = disableIt,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disables({unmounts("/data", warning("executeCommand - Exec Pipe failed with error code [7]"),
                                 {warning("Exec Pipe failed with error code [7]"), method("getMountStatus"),
                                  error("TARN::unmountDevice - Exec Pipe failed with error code [7]"), kDiagnostics}),
                        error("CTARNPlugin::disableAccess: error from unmountDevice().")}),
     .commands = {kFuserShows, kMountShows},
     .after = offlineAre({false})},
    {.name = "a_null_list_is_refused",
     .call = [](Bed& bed) { return bed.call().disable_access(nullptr, 0); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = disables(error("Invalid node data. Disable access attempt failed."))},
    {.name = "a_list_whose_first_entry_has_no_node_is_refused",
     .before = [](Bed& bed) { bed.accessList.emplace_back(); },
     .call = disableIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = disables(error("Invalid node data. Disable access attempt failed."))},
    {.name = "a_later_entry_without_node_ends_it_after_those_before",
     .host = {.mountTable = kTable},
     .before =
         [](Bed& bed) {
             twoNodes(bed);
             bed.accessList.back().node = nullptr;
         },
     .call = disableIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = disables(unmounts("/data")),
     .commands = {kUmountCommand},
     .after = [](Bed& bed) { EXPECT_EQ(bed.accessList.front().node->state, ZFI_STATE_OFFLINE); }},
};
CONTRACT_TABLE(DisableAccess, kDisable);

}  // namespace
