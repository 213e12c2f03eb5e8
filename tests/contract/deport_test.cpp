// Taking the snapshot's mount away again: deport_tree.
#include "bed/row.h"

namespace {

using namespace bed;

const char* const kTable = "/dev/sdc1 /data_alt xfs ro 0 0\n";
const std::string kUmount = "/bin/umount  \"/data_alt\"";
const std::string kRmdir = "/bin/rmdir  /data_alt";
const Command kUmountCommand = {"/bin/umount", "/data_alt"};
const Command kRmdirCommand = {"/bin/rmdir", "/data_alt"};

int deport(Bed& bed, const char* altName, int imported = 1) {
    bed.access.imported = imported;
    zfi_domain* altNode = altName == nullptr ? nullptr : &bed.node(altName).domain;
    return bed.call().deport_tree(bed.node("/data"), altNode, &bed.access);
}

int deportIt(Bed& bed) {
    return deport(bed, "/data_alt");
}

Trace deports(const Trace& inside) {
    return entry("deport_tree", method("deportTree", inside));
}

const Row kDeport[] = {
    {.name = "unmounts_and_removes_the_directory",
     .host = {.mountTable = kTable},
     .call = deportIt,
     .trace = deports({progress("Command : " + kUmount), progress("Command : " + kRmdir)}),
     .commands = {kUmountCommand, kRmdirCommand}},
    {.name = "access_flag_0_does_nothing",
     .host = {.mountTable = kTable},
     .call = [](Bed& bed) { return deport(bed, "/data_alt", 0); },
     .trace = deports({})},
    {.name = "access_flag_0_comes_before_the_null_alternate_node",
     .call = [](Bed& bed) { return deport(bed, nullptr, 0); },
     .trace = deports({})},
    {.name = "a_null_alternate_node_is_a_warning_and_a_success",
     .call = [](Bed& bed) { return deport(bed, nullptr); },
     .trace = deports(warning("Invalid alt node object, deport tree with node /data failed."))},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .call = deportIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = deports({error("tarn_get_mntent: fopen() of mnttab file failed"),
                       error("CTARNPlugin::deportTree: mnt-tab file open failed, deport tree with alt node /data_alt "
                             "failed.")})},
    {.name = "not_mounted_leaves_the_directory_alone", .call = deportIt, .trace = deports({})},
    {.name = "a_umount_that_fails_ends_it",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .exitStatus = 32, .prints = "target is\n busy\n"}}},
     .call = deportIt,
     .status = ZFI_ERR_FAILED,
     .trace = deports({progress("Command : " + kUmount),
                       error("TARN::deportTree - command [" + kUmount + "] failed with message 'target is busy'.")}),
     .commands = {kUmountCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kUmount)}},
    {.name = "an_rmdir_that_fails_leaves_it_unmounted",
     .host = {.mountTable = kTable,
              .answers = {{.command = "umount", .prints = "some line\n", .setsMountTable = true},
                          {.command = "rmdir", .exitStatus = 1, .prints = "not empty\n"}}},
     .call = deportIt,
     .status = ZFI_ERR_FAILED,
     .trace = deports({progress("Command : " + kUmount), progress("Command : " + kRmdir),
                       error("TARN::deportTree - command [" + kRmdir + "] failed with message 'not empty'.")}),
     .commands = {kUmountCommand, kRmdirCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kRmdir)}},
    {.name = "a_path_with_a_blank_is_unmounted_but_its_rmdir_is_split",
     .host = {.mountTable = "/dev/sdc1 /my\\040alt xfs ro 0 0\n",
              .answers = {{.command = "rmdir", .exitStatus = 1, .prints = "no such directory\n"}}},
     .call = [](Bed& bed) { return deport(bed, "/my alt"); },
     .status = ZFI_ERR_FAILED,
     .trace = deports({progress("Command : /bin/umount  \"/my alt\""), progress("Command : /bin/rmdir  /my alt"),
                       error("TARN::deportTree - command [/bin/rmdir  /my alt] failed with message 'no such "
                             "directory'.")}),
     .commands = {{"/bin/umount", "/my alt"}, {"/bin/rmdir", "/my", "alt"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/rmdir  /my alt")}},
    {.name = "a_null_access_record_is_refused",
     .call = [](Bed& bed) { return bed.call().deport_tree(bed.node("/data"), bed.node("/data_alt"), nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = deports({})},
};
CONTRACT_TABLE(DeportTree, kDeport);

}  // namespace
