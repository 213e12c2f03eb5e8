// The node of a mounted snapshot: init_altnode, init_remnode, reaccess_altnode.
#include "bed/row.h"

namespace {

using namespace bed;

const char* const kTable = "/dev/sdc1 /data_alt xfs ro,nouuid 0 0\n";

int initAltNode(Bed& bed, const char* name) {
    return bed.call().init_altnode(nullptr, nullptr, bed.node(name));
}

Trace inits(const Trace& inside) {
    return entry("init_altnode", method("initAltNode", inside));
}

Trace found(const std::string& device, const std::string& type, const std::string& options) {
    return {detail("mnt_fsname [" + device + "]"), detail("fstype [" + type + "]"),
            detail("mnt_opts [" + options + "]"), recordsMount()};
}

// The alternate node's private data belongs to it alone: what is asked for is read through its own slot.
std::function<void(Bed&)> holds(const State& state, std::vector<std::string> subObjects) {
    return [=](Bed& bed) {
        Node& node = bed.lastNode();
        EXPECT_EQ(node->displayName, node->objid->name);
        EXPECT_EQ(node->characteristics, ZFI_CHARACTERISTICS);
        EXPECT_EQ(node->quiesce, nullptr);
        EXPECT_EQ(bed.subObjectsOf(node), subObjects);
        EXPECT_EQ(bed.stateOf(node), state.text());
    };
}

const Row kInitAltNode[] = {
    {.name = "a_mounted_snapshot",
     .host = {.mountTable = kTable},
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .trace = inits(found("/dev/sdc1", "xfs", "ro,nouuid")),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {"/dev/sdc1"})},
    {.name = "a_second_call_leaves_one_sub_object",
     .host = {.mountTable = kTable},
     .before =
         [](Bed& bed) {
             shapeHost({.mountTable = kTable});
             initAltNode(bed, "/data_alt");
         },
     .call = [](Bed& bed) { return bed.call().init_altnode(nullptr, nullptr, bed.lastNode()); },
     .trace = inits(found("/dev/sdc1", "xfs", "ro,nouuid")),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {"/dev/sdc1"})},
    {.name = "source_and_alternate_data_of_one_name_are_two",
     .host = {.mountTable = kTable},
     .before = [](Bed& bed) { bed.restored("/data_alt", {.device = "/dev/source", .type = "ext3"}); },
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .trace = inits(found("/dev/sdc1", "xfs", "ro,nouuid")),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {"/dev/sdc1"})},
    {.name = "nfs_gets_no_version",
     .host = {.mountTable = "server:/export /data_alt nfs ro 0 0\n",
              .procMounts = "server:/export /data_alt nfs ro,vers=3 0 0\n"},
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .trace = inits(found("server:/export", "nfs", "ro")),
     .after = holds({.device = "server:/export", .type = "nfs", .options = "ro"}, {"server:/export"})},
    {.name = "ndmp_takes_its_own_name_and_reads_no_mount_table",
     .host = {.tableUnreadable = true},
     .call = [](Bed& bed) { return initAltNode(bed, "NDMP:/vol/x"); },
     .trace = inits(progress("Info, initAltNode NDMP USECASE returning OK, subobj NDMP:/vol/x")),
     .after = holds({}, {"NDMP:/vol/x"})},
    {.name = "ndmp_adds_one_more_sub_object_with_each_call",
     .before = [](Bed& bed) { initAltNode(bed, "NDMP:/vol/x"); },
     .call = [](Bed& bed) { return bed.call().init_altnode(nullptr, nullptr, bed.lastNode()); },
     .trace = inits(progress("Info, initAltNode NDMP USECASE returning OK, subobj NDMP:/vol/x")),
     .after = holds({}, {"NDMP:/vol/x", "NDMP:/vol/x"})},
    {.name = "the_characteristics_are_written_whole_before_the_look_up",
     .before = [](Bed& bed) { bed.node("/data_alt")->characteristics = 0xffffffffU; },
     .call = [](Bed& bed) { return bed.call().init_altnode(nullptr, nullptr, bed.lastNode()); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = inits({error("tarn_get_mntent_value: device [/data_alt] is not mounted"),
                     error("CTARNPlugin::initAltNode: mount point entry lookup failed.")}),
     .after = holds({}, {})},
    {.name = "not_in_the_mount_table",
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = inits({error("tarn_get_mntent_value: device [/data_alt] is not mounted"),
                     error("CTARNPlugin::initAltNode: mount point entry lookup failed.")}),
     .after = holds({}, {})},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = inits({error("tarn_get_mntent_value: fopen() of mnttab file failed"),
                     error("CTARNPlugin::initAltNode: mnt-tab open failed.")}),
     .after = holds({}, {})},
    {.name = "unmounted_before_the_sub_object_is_looked_up_keeps_what_was_stored",
     .host = {.mountTable = kTable, .changes = {{.afterText = "mnt_opts [ro,nouuid]"}}},
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = inits(
         {found("/dev/sdc1", "xfs", "ro,nouuid"), error("CTARNPlugin::initAltNode: mount point entry lookup failed.")}),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {})},
    {.name = "table_unreadable_when_the_sub_object_is_looked_up",
     .host = {.mountTable = kTable, .changes = {{.afterText = "mnt_opts [ro,nouuid]", .unreadable = true}}},
     .call = [](Bed& bed) { return initAltNode(bed, "/data_alt"); },
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = inits({found("/dev/sdc1", "xfs", "ro,nouuid"), error("tarn_getsubobj: setmntent() of mnttab file failed"),
                     error("CTARNPlugin::initAltNode: mnt-tab open failed.")}),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {})},
    {.name = "a_null_target_is_a_message",
     .call = [](Bed& bed) { return bed.call().init_altnode(bed.node("/data"), nullptr, nullptr); },
     .status = ZFI_ERR_FAILED,
     .trace = inits({}),
     .messages = {{"MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
                   {"initAltNode(), target node is invalid.", "initAltNode", "providers/tarn/tarn_plugin", "#"}}}},
    {.name = "init_remnode_does_the_same",
     .host = {.mountTable = kTable},
     .call = [](Bed& bed) { return bed.call().init_remnode(nullptr, nullptr, bed.node("/data_alt")); },
     .trace = entry("init_remnode", method("initAltNode", found("/dev/sdc1", "xfs", "ro,nouuid"))),
     .after = holds({.device = "/dev/sdc1", .type = "xfs", .options = "ro,nouuid"}, {"/dev/sdc1"})},
};
CONTRACT_TABLE(InitAltNode, kInitAltNode);

int reaccess(Bed& bed, const char* path, int intent) {
    return bed.call().reaccess_altnode(nullptr, Bed::objid(path), nullptr, nullptr, nullptr, nullptr, 0,
                                       static_cast<zfi_intent>(intent));
}

Trace reaccesses(const Trace& inside) {
    return entry("reaccess_altnode", method("reAccessAltNode", inside));
}

const Row kReaccess[] = {
    {.name = "a_path_that_exists", .call = [](Bed& bed) { return reaccess(bed, "/", 0); }, .trace = reaccesses({})},
    {.name = "a_missing_path",
     .call = [](Bed& bed) { return reaccess(bed, "/media/none", 0); },
     .status = ZFI_ERR_ALT_PATH_MISSING,
     .trace = reaccesses(error("CTARNPlugin::reAccessAltNode: error from stat()."))},
    {.name = "a_missing_path_with_another_intent",
     .call = [](Bed& bed) { return reaccess(bed, "/media/none", ZFI_INTENT_READ); },
     .status = ZFI_ERR_ALT_PATH_MISSING,
     .trace = reaccesses(error("CTARNPlugin::reAccessAltNode: error from stat()."))},
    {.name = "a_missing_path_that_is_about_to_go_is_no_error",
     .call = [](Bed& bed) { return reaccess(bed, "/media/none", ZFI_INTENT_DESTROY); },
     .trace = reaccesses({})},
    {.name = "an_object_that_is_about_to_go_is_not_even_looked_at",
     .call = [](Bed& bed) { return reaccess(bed, nullptr, ZFI_INTENT_DESTROY); },
     .trace = reaccesses({})},
    {.name = "a_null_object_is_refused",
     .call = [](Bed& bed) { return reaccess(bed, nullptr, 0); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = reaccesses({})},
};
CONTRACT_TABLE(ReaccessAltNode, kReaccess);

}  // namespace
