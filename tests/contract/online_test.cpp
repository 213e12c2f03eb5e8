// Mounting and unmounting a node at its own path: online, dispose.
#include <utility>

#include "bed/row.h"

namespace {

using namespace bed;

const char* const kTable = "/dev/sdb1 /data ext3 rw,noatime 0 0\n";
const std::string kMount = "/bin/mount  -o rw,noatime \"/dev/sdb1\" \"/data\"";
const std::string kUmount = "/bin/umount  /data";
const std::string kRmdir = "/bin/rmdir  /data";
const Command kMkdirCommand = {"/bin/mkdir", "-p", "/data"};
const Command kMountCommand = {"/bin/mount", "-o", "rw,noatime", "/dev/sdb1", "/data"};
const Command kUmountCommand = {"/bin/umount", "/data"};
const Command kRmdirCommand = {"/bin/rmdir", "/data"};

int online(Bed& bed, int operation, zfi_disposition disposition = ZFI_DISPOSITION_KEEP) {
    return bed.call().online(nullptr, bed.lastNode(), operation, disposition);
}

int mountIt(Bed& bed) {
    return online(bed, ZFI_ONLINE_MOUNT);
}
int unmountIt(Bed& bed) {
    return online(bed, ZFI_ONLINE_UMOUNT);
}
int removeIt(Bed& bed) {
    return online(bed, ZFI_ONLINE_UMOUNT, ZFI_DISPOSITION_REMOVE);
}

Trace onlines(const Trace& inside) {
    return entry("online", method("online", inside));
}

void initialised(Bed& bed) {
    bed.initialised("/data", kTable);
}

const Trace kMakesPoint = primitive("createMntPoint", "/bin/mkdir -p  \"/data\"");
const Line kNotMounted = error("tarn_getmnt: device [/dev/sdb1] is not mounted");

const Row kMountRows[] = {
    {.name = "mounts_with_the_recorded_options",
     .before = initialised,
     .call = mountIt,
     .trace = onlines({kNotMounted, kMakesPoint, progress("Command : " + kMount)}),
     .commands = {kMkdirCommand, kMountCommand}},
    {.name = "empty_options_leave_the_option_part_standing",
     .before =
         [](Bed& bed) {
             initialised(bed);
             bed.restore(bed.lastNode(), {});
         },
     .call = mountIt,
     .trace = onlines({kNotMounted, kMakesPoint, progress("Command : /bin/mount  -o  \"/dev/sdb1\" \"/data\"")}),
     .commands = {kMkdirCommand, {"/bin/mount", "-o", "/dev/sdb1", "/data"}}},
    {.name = "a_path_that_is_mounted_already_runs_nothing",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = mountIt,
     .trace = onlines({})},
    {.name = "a_path_with_a_blank_is_quoted",
     .before = [](Bed& bed) { bed.initialised("/my data", "/dev/sdb1 /my\\040data ext3 rw 0 0\n"); },
     .call = mountIt,
     .trace = onlines({kNotMounted, primitive("createMntPoint", "/bin/mkdir -p  \"/my data\""),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/my data\"")}),
     .commands = {{"/bin/mkdir", "-p", "/my data"}, {"/bin/mount", "-o", "rw", "/dev/sdb1", "/my data"}}},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = onlines({error("tarn_get_mntent: fopen() of mnttab file failed"),
                       error("CTARNPlugin::online: mnt-tab file open failed.")})},
    {.name = "a_table_that_is_unreadable_when_the_device_is_looked_up",
     .host = {.changes = {{.beforeOpening = 2, .unreadable = true}}},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace =
         onlines({error("tarn_getmnt: fopen() of mnttab file failed"), error("online: mnt-tab file open failed")})},
    {.name = "a_node_without_private_data",
     .before = [](Bed& bed) { bed.node("/data"); },
     .call = mountIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = onlines(error("Invalid private data for node. Cannot online / mount the file system."))},
    {.name = "a_node_without_object_id",
     .before = initialised,
     .call =
         [](Bed& bed) {
             znfi_objid* const id = std::exchange(bed.lastNode()->objid, nullptr);
             const int status = mountIt(bed);
             bed.lastNode()->objid = id;
             return status;
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = onlines(error("Invalid private data for node. Cannot online / mount the file system."))},
    {.name = "a_node_without_sub_object",
     .before = [](Bed& bed) { bed.restored("/data", {.device = "/dev/sdb1"}); },
     .call = mountIt,
     .status = ZFI_ERR_NO_SUBOBJECT,
     .trace = onlines(error("no child objects to mount."))},
    {.name = "a_device_that_is_mounted_elsewhere",
     .host = {.mountTable = "/dev/sdb1 /else ext3 rw 0 0\n"},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_BUSY,
     .trace = onlines(error("Device {/dev/sdb1} is already mounted on a different mount point."))},
    {.name = "a_mount_that_fails_leaves_the_mount_point",
     .host = {.answers = {{.command = "mount", .exitStatus = 32, .prints = "wrong\n type\n"}}},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_MOUNT_FAILED,
     .trace = onlines({kNotMounted, kMakesPoint, progress("Command : " + kMount),
                       error("TARN::online - mount command [" + kMount + "] failed with message 'wrong type'.")}),
     .commands = {kMkdirCommand, kMountCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kMount)}},
    {.name = "a_mount_that_hangs_is_given_ten_minutes",
     .host = {.answers = {{.command = "mount", .hangs = true}}},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_MOUNT_FAILED,
     .trace = onlines({kNotMounted, kMakesPoint, progress("Command : " + kMount),
                       error("TARN::online - mount command [" + kMount + "] failed with message ''.")}),
     .commands = {kMkdirCommand, kMountCommand},
     .waits = {.limits = {600}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_READ_TIMEOUT", kMount)}},
    {.name = "a_mount_point_that_cannot_be_made_answers_6",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1}}},
     .before = initialised,
     .call = mountIt,
     .status = ZFI_ERR_FAILED,
     .trace = onlines({kNotMounted, method("createMntPoint",
                                           {progress("Command : /bin/mkdir -p  \"/data\""),
                                            error("command '/bin/mkdir -p  \"/data\"' failed with message ''.")})}),
     .commands = {kMkdirCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/mkdir -p  \"/data\"")}},
    {.name = "a_null_node",
     .call = [](Bed& bed) { return bed.call().online(nullptr, nullptr, ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = onlines(error("CTARNPlugin::online: Error: parameter fid is NULL."))},
};
CONTRACT_TABLE(OnlineMount, kMountRows);

const Row kUmountRows[] = {
    {.name = "unmounts_and_keeps_the_directory",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = unmountIt,
     .trace = onlines(progress("Command : " + kUmount)),
     .commands = {kUmountCommand}},
    {.name = "unmounts_and_removes_the_directory",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = removeIt,
     .trace = onlines({progress("Command : " + kUmount), progress("Command : " + kRmdir)}),
     .commands = {kUmountCommand, kRmdirCommand}},
    {.name = "needs_no_private_data",
     .host = {.mountTable = kTable},
     .before = [](Bed& bed) { bed.node("/data"); },
     .call = unmountIt,
     .trace = onlines(progress("Command : " + kUmount)),
     .commands = {kUmountCommand}},
    {.name = "a_path_that_is_not_mounted_keeps_its_directory",
     .before = initialised,
     .call = removeIt,
     .trace = onlines({})},
    {.name = "a_path_with_a_blank_is_split",
     .host = {.mountTable = "/dev/sdb1 /my\\040data ext3 rw 0 0\n"},
     .before = [](Bed& bed) { bed.node("/my data"); },
     .call = unmountIt,
     .trace = onlines(progress("Command : /bin/umount  /my data")),
     .commands = {{"/bin/umount", "/my", "data"}}},
    {.name = "a_umount_that_fails",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .exitStatus = 32, .prints = "busy\n"}}},
     .before = initialised,
     .call = removeIt,
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = onlines({progress("Command : " + kUmount),
                       error("TARN::online - command [" + kUmount + "] failed with message 'busy'.")}),
     .commands = {kUmountCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kUmount)}},
    {.name = "an_rmdir_that_fails_leaves_it_unmounted",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .prints = "words\n"},
                          {.command = "rmdir", .exitStatus = 1, .prints = "not empty\n"}}},
     .before = initialised,
     .call = removeIt,
     .status = ZFI_ERR_RMDIR_FAILED,
     .trace = onlines({progress("Command : " + kUmount), progress("Command : " + kRmdir),
                       error("TARN::online - command [" + kRmdir + "] failed with message 'not empty'.")}),
     .commands = {kUmountCommand, kRmdirCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kRmdir)}},
    {.name = "any_other_operation_does_nothing",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = [](Bed& bed) { return online(bed, 3, ZFI_DISPOSITION_REMOVE); },
     .trace = onlines({})},
};
CONTRACT_TABLE(OnlineUmount, kUmountRows);

int dispose(Bed& bed, int disposition) {
    return bed.call().dispose(nullptr, bed.lastNode(), nullptr, static_cast<zfi_disposition>(disposition));
}

Trace disposes(const Trace& online) {
    return entry("dispose",
                 method("dispose", {method("online", online), error("CTARNPlugin::dispose: error from online()")}));
}

const Row kDispose[] = {
    {.name = "unmounts_removes_and_speaks_of_an_error_all_the_same",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = [](Bed& bed) { return dispose(bed, ZFI_DISPOSITION_REMOVE); },
     .trace = disposes({progress("Command : " + kUmount), progress("Command : " + kRmdir)}),
     .commands = {kUmountCommand, kRmdirCommand}},
    {.name = "a_node_that_is_not_mounted",
     .before = initialised,
     .call = [](Bed& bed) { return dispose(bed, ZFI_DISPOSITION_REMOVE); },
     .trace = disposes({})},
    {.name = "a_umount_that_fails_is_its_status",
     .host = {.mountTable = kTable, .answers = {{.command = "umount", .exitStatus = 32, .prints = "busy\n"}}},
     .before = initialised,
     .call = [](Bed& bed) { return dispose(bed, ZFI_DISPOSITION_REMOVE); },
     .status = ZFI_ERR_UMOUNT_FAILED,
     .trace = disposes({progress("Command : " + kUmount),
                        error("TARN::online - command [" + kUmount + "] failed with message 'busy'.")}),
     .commands = {kUmountCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kUmount)}},
    {.name = "a_null_node",
     .call = [](Bed& bed) { return bed.call().dispose(nullptr, nullptr, nullptr, ZFI_DISPOSITION_REMOVE); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = disposes(error("CTARNPlugin::online: Error: parameter fid is NULL."))},
    {.name = "any_other_disposition_runs_nothing",
     .host = {.mountTable = kTable},
     .before = initialised,
     .call = [](Bed& bed) { return dispose(bed, ZFI_DISPOSITION_KEEP) + dispose(bed, 2); },
     .trace = {entry("dispose", method("dispose")), entry("dispose", method("dispose"))}},
};
CONTRACT_TABLE(Dispose, kDispose);

}  // namespace
