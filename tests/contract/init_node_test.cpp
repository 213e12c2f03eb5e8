// Filling a node from the mount table: init_node, deinit_node, subobj_list, and the version of an NFS mount.
#include "bed/row.h"

namespace {

using namespace bed;

int initNode(Bed& bed, const char* name) {
    return bed.call().init_node(bed.node(name), nullptr, 0, nullptr);
}

Trace initNodes(const Trace& inside) {
    return entry("init_node", method("initNode", inside));
}

Trace found(const std::string& device, const std::string& type, const std::string& options) {
    return {detail("mnt_fsname [" + device + "]"), detail("fstype [" + type + "]"),
            detail("mnt_opts [" + options + "]"), recordsMount()};
}

// The node of a row that made exactly one.
Node& theNode(Bed& bed) {
    return bed.lastNode();
}

std::function<void(Bed&)> holds(const State& state, const char* freezeMethod, std::vector<std::string> subObjects) {
    return [=](Bed& bed) {
        Node& node = theNode(bed);
        EXPECT_EQ(node->displayName, node->objid->name);
        EXPECT_EQ(node->characteristics, ZFI_CHARACTERISTICS);
        EXPECT_EQ(node->quiesceNext, nullptr);
        if (freezeMethod == nullptr) {
            EXPECT_EQ(node->quiesce, nullptr);
        } else if (node->quiesce == nullptr) {
            ADD_FAILURE() << "no quiesce record";
        } else {
            EXPECT_STREQ(node->quiesce->method, freezeMethod);
            EXPECT_EQ(node->quiesce->domain, &node.domain);
            EXPECT_EQ(node->quiesce->reserved, nullptr);
        }
        EXPECT_EQ(bed.subObjectsOf(node), subObjects);
        EXPECT_EQ(bed.stateOf(node), state.text());
    };
}

Row localType(const char* name, const std::string& type, const char* freezeMethod) {
    return {
        .name = name,
        .host = {.mountTable = "/dev/sdb1 /data " + type + " rw,noatime 0 0\n"},
        .call = [](Bed& bed) { return initNode(bed, "/data"); },
        .trace = initNodes(found("/dev/sdb1", type, "rw,noatime")),
        .after = holds({.device = "/dev/sdb1", .type = type, .options = "rw,noatime"}, freezeMethod, {"/dev/sdb1"})};
}

Row nfs(const char* name, const std::string& type, const std::string& procOptions, const std::string& version) {
    return {.name = name,
            .host = {.mountTable = "server:/export /nfs " + type + " rw 0 0\n",
                     .procMounts = "server:/export /nfs " + type + " " + procOptions + " 0 0\n"},
            .call = [](Bed& bed) { return initNode(bed, "/nfs"); },
            .trace = initNodes({found("server:/export", type, "rw"), error("Inside getnfsvers"),
                                progress("getnfsvers: /nfs nfsversion=" + version), method("setFsVersion")}),
            .after = holds({.device = "server:/export", .type = type, .version = version, .options = "rw"}, nullptr,
                           {"server:/export"})};
}

// A mount point whose version line does not fit into a kilobyte.
const std::string kLongName = "/" + std::string(1100, 'n');
const std::string kLongLine = "server:/export " + kLongName + " nfs rw,vers=3 0 0\n";

// What an earlier life of the node may have left in the fields that are cleared first.
void soil(Bed& bed) {
    static zfi_quiescenode earlier{};
    static char name[] = "earlier";
    Node& node = bed.node("/data");
    node->displayName = name;
    node->quiesce = &earlier;
    node->quiesceNext = &earlier;
    node->characteristics = 0xffffffffU;
}

const Row kInitNode[] = {
    localType("xfs_is_frozen_by_xfs_freeze", "xfs", "xfs_freeze"),
    localType("ufs_names_lockfs", "ufs", "ufs_lockfs"),
    localType("ext4_has_no_quiesce_record", "ext4", nullptr),
    localType("ufsx_is_another_type_than_ufs", "ufsx", nullptr),
    localType("xfs2_is_another_type_than_xfs", "xfs2", nullptr),
    nfs("nfs_version_from_vers", "nfs", "rw,vers=3,proto=tcp", "3"),
    nfs("nfs4_version_of_one_digit", "nfs4", "rw,vers=4.1", "4"),
    nfs("nfs_version_from_nfsvers", "nfs", "rw,nfsvers=4", "4"),
    nfs("nfs_version_from_the_second_option", "nfs", "rw,x2", "2"),
    nfs("nfs_version_of_more_digits_in_the_second_option", "nfs", "rw,v37,hard", "37"),
    nfs("nfs_with_one_option_has_version_0", "nfs", "rw", "0"),
    nfs("every_type_that_begins_with_nfs", "nfsx", "rw,vers=2", "2"),
    {.name = "an_nfs_version_is_cut_to_three_digits",
     .host = {.mountTable = "server:/export /nfs nfs rw 0 0\n",
              .procMounts = "server:/export /nfs nfs rw,v12345 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/nfs"); },
     .trace = initNodes({found("server:/export", "nfs", "rw"), error("Inside getnfsvers"),
                         progress("getnfsvers: /nfs nfsversion=12345"), method("setFsVersion")}),
     .after = holds({.device = "server:/export", .type = "nfs", .version = "123", .options = "rw"}, nullptr,
                    {"server:/export"})},
    {.name = "nfs_that_proc_mounts_does_not_hold",
     .host = {.mountTable = "server:/export /nfs nfs rw 0 0\n",
              .procMounts = "server:/export /other nfs rw,vers=3 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/nfs"); },
     .trace = initNodes({found("server:/export", "nfs", "rw"), error("Inside getnfsvers"), method("setFsVersion")}),
     .after = holds({.device = "server:/export", .type = "nfs", .version = "0", .options = "rw"}, nullptr,
                    {"server:/export"})},
    {.name = "nfs_while_proc_mounts_cannot_be_opened",
     .host = {.mountTable = "server:/export /nfs nfs rw 0 0\n",
              .procMounts = "server:/export /nfs nfs rw,vers=3 0 0\n"},
     .faults = {.noKernelTable = true},
     .call = [](Bed& bed) { return initNode(bed, "/nfs"); },
     .trace = initNodes({found("server:/export", "nfs", "rw"), error("Inside getnfsvers"), method("setFsVersion")}),
     .after = holds({.device = "server:/export", .type = "nfs", .version = "0", .options = "rw"}, nullptr,
                    {"server:/export"})},
    {.name = "the_line_of_an_nfs_version_is_cut_to_a_kilobyte",
     .host = {.mountTable = kLongLine, .procMounts = kLongLine},
     .call = [](Bed& bed) { return initNode(bed, kLongName.c_str()); },
     .trace =
         initNodes({found("server:/export", "nfs", "rw,vers=3"), error("Inside getnfsvers"),
                    progress(("getnfsvers: " + kLongName + " nfsversion=3").substr(0, 1023)), method("setFsVersion")}),
     .after = holds({.device = "server:/export", .type = "nfs", .version = "3", .options = "rw,vers=3"}, nullptr,
                    {"server:/export"})},
    {.name = "a_mount_point_with_a_trailing_slash_does_not_match",
     .host = {.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/data/"); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = initNodes({error("tarn_get_mntent_value: device [/data/] is not mounted"),
                         error("CTARNPlugin::initNode: mount point entry lookup failed.")}),
     .after = holds({}, nullptr, {})},
    {.name = "a_longer_mount_point_with_the_same_start_does_not_match",
     .host = {.mountTable = "/dev/sdb1 /data2 xfs rw 0 0\n/dev/sdb1 /dat xfs rw 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = initNodes({error("tarn_get_mntent_value: device [/data] is not mounted"),
                         error("CTARNPlugin::initNode: mount point entry lookup failed.")}),
     .after = holds({}, nullptr, {})},
    {.name = "the_first_entry_of_a_mount_point_wins",
     .host = {.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n/dev/sdc1 /data xfs ro 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .trace = initNodes(found("/dev/sdb1", "ext3", "rw")),
     .after = holds({.device = "/dev/sdb1", .type = "ext3", .options = "rw"}, nullptr, {"/dev/sdb1"})},
    {.name = "octal_escapes_in_the_table_are_decoded",
     .host = {.mountTable = "/dev/sdb1 /my\\040data ext3 rw 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/my data"); },
     .trace = initNodes(found("/dev/sdb1", "ext3", "rw")),
     .after = holds({.device = "/dev/sdb1", .type = "ext3", .options = "rw"}, nullptr, {"/dev/sdb1"})},
    {.name = "options_of_more_than_four_kilobytes_are_whole",
     .host = {.mountTable = "/dev/sdb1 /data ext3 " + std::string(6000, 'o') + " 0 0\n"},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .trace = initNodes(found("/dev/sdb1", "ext3", std::string(6000, 'o'))),
     .after =
         holds({.device = "/dev/sdb1", .type = "ext3", .options = std::string(6000, 'o')}, nullptr, {"/dev/sdb1"})},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = initNodes({error("tarn_get_mntent_value: fopen() of mnttab file failed"),
                         error("CTARNPlugin::initNode: mnt-tab open failed.")}),
     .after = holds({}, nullptr, {})},
    {.name = "no_memory_for_the_quiesce_record_keeps_what_was_stored",
     .host = {.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"},
     .faults = {.noBufferAtCall = 1},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_NO_MEMORY,
     .trace =
         initNodes({found("/dev/sdb1", "xfs", "rw"), error("CTARNPlugin::initNode: memory allocation open failed.")}),
     .after = holds({.device = "/dev/sdb1", .type = "xfs", .options = "rw"}, nullptr, {})},
    {.name = "no_memory_for_the_name_of_the_freeze_method",
     .host = {.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"},
     .faults = {.noCopyOf = "xfs_freeze"},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_NO_MEMORY,
     .trace =
         initNodes({found("/dev/sdb1", "xfs", "rw"), error("CTARNPlugin::initNode: memory allocation open failed.")}),
     .after = holds({.device = "/dev/sdb1", .type = "xfs", .options = "rw"}, nullptr, {})},
    {.name = "a_text_that_cannot_be_copied_leaves_the_recorded_one",
     .host = {.mountTable = "/dev/sdc1 /data ext3 ro 0 0\n"},
     .before = [](Bed& bed) { bed.initialised("/data", "/dev/sdb1 /data jfs rw 0 0\n"); },
     .faults = {.noCopyOf = "ro"},
     .call = [](Bed& bed) { return bed.call().init_node(theNode(bed), nullptr, 0, nullptr); },
     .trace = initNodes(found("/dev/sdc1", "ext3", "")),
     .after = holds({.device = "/dev/sdc1", .type = "ext3", .options = "rw"}, nullptr, {"/dev/sdb1"})},
    {.name = "a_device_that_cannot_be_copied_is_a_sub_object_without_name",
     .host = {.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n"},
     .faults = {.noCopyOf = "/dev/sdb1"},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .trace = initNodes(found("", "ext3", "rw")),
     .after = holds({.type = "ext3", .options = "rw"}, nullptr, {""})},
    {.name = "unmounted_before_the_sub_object_is_looked_up",
     .host = {.mountTable = "/dev/sdb1 /data xfs rw 0 0\n", .changes = {{.afterText = "mnt_opts [rw]"}}},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace =
         initNodes({found("/dev/sdb1", "xfs", "rw"), error("CTARNPlugin::initNode: mount point entry lookup failed.")}),
     .after = holds({.device = "/dev/sdb1", .type = "xfs", .options = "rw"}, "xfs_freeze", {})},
    {.name = "table_unreadable_when_the_sub_object_is_looked_up",
     .host = {.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n",
              .changes = {{.afterText = "mnt_opts [rw]", .unreadable = true}}},
     .call = [](Bed& bed) { return initNode(bed, "/data"); },
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = initNodes({found("/dev/sdb1", "ext3", "rw"), error("tarn_getsubobj: setmntent() of mnttab file failed"),
                         error("CTARNPlugin::initNode: mnt-tab open failed.")}),
     .after = holds({.device = "/dev/sdb1", .type = "ext3", .options = "rw"}, nullptr, {})},
    {.name = "a_second_call_leaves_one_sub_object_and_new_data",
     .host = {.mountTable = "/dev/sdc1 /data ext3 ro 0 0\n"},
     .before = [](Bed& bed) { bed.initialised("/data", "/dev/sdb1 /data jfs rw 0 0\n"); },
     .call = [](Bed& bed) { return bed.call().init_node(theNode(bed), nullptr, 0, nullptr); },
     .trace = initNodes(found("/dev/sdc1", "ext3", "ro")),
     .after = holds({.device = "/dev/sdc1", .type = "ext3", .options = "ro"}, nullptr, {"/dev/sdb1"})},
    {.name = "what_the_node_held_is_cleared_before_the_look_up",
     .before = soil,
     .call = [](Bed& bed) { return bed.call().init_node(theNode(bed), nullptr, 0, nullptr); },
     .status = ZFI_ERR_NOT_MOUNTED,
     .trace = initNodes({error("tarn_get_mntent_value: device [/data] is not mounted"),
                         error("CTARNPlugin::initNode: mount point entry lookup failed.")}),
     .after = holds({}, nullptr, {})},
    {.name = "what_the_node_held_is_written_whole",
     .host = {.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n"},
     .before = soil,
     .call = [](Bed& bed) { return bed.call().init_node(theNode(bed), nullptr, 0, nullptr); },
     .trace = initNodes(found("/dev/sdb1", "ext3", "rw")),
     .after = holds({.device = "/dev/sdb1", .type = "ext3", .options = "rw"}, nullptr, {"/dev/sdb1"})},
    {.name = "a_null_node_is_refused",
     .call = [](Bed& bed) { return bed.call().init_node(nullptr, nullptr, 0, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = initNodes({})},
};
CONTRACT_TABLE(InitNode, kInitNode);

const Row kNodeEnd[] = {
    {.name = "deinit_node_releases_private_data_and_quiesce_record",
     .before = [](Bed& bed) { bed.initialised("/data", "/dev/sdb1 /data xfs rw 0 0\n"); },
     .call =
         [](Bed& bed) {
             bed.call().deinit_node(theNode(bed));
             return 0;
         },
     .trace = entry("deinit_node", {}),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(theNode(bed)->quiesce, nullptr);
             EXPECT_EQ(theNode(bed)->privateData, nullptr);
         }},
    {.name = "deinit_node_twice_and_of_null_does_nothing",
     .before = [](Bed& bed) { bed.initialised("/data", "/dev/sdb1 /data xfs rw 0 0\n"); },
     .call =
         [](Bed& bed) {
             bed.call().deinit_node(theNode(bed));
             bed.call().deinit_node(theNode(bed));
             bed.call().deinit_node(nullptr);
             return 0;
         },
     .trace = {entry("deinit_node", {}), entry("deinit_node", {}), entry("deinit_node", {})}},
    {.name = "two_nodes_of_one_name_share_their_data_until_both_are_gone",
     .before =
         [](Bed& bed) {
             Node& first = bed.initialised("/data", "/dev/sdb1 /data ext3 rw 0 0\n");
             Node& second = bed.node("/data");
             EXPECT_EQ(bed.stateOf(second), bed.stateOf(first));
             bed.call().deinit_node(first);
         },
     .call =
         [](Bed& bed) {
             const bool isStillThere = bed.subObjectsOf(theNode(bed)).size() == 1;
             bed.call().deinit_node(theNode(bed));
             return isStillThere ? 0 : -1;
         },
     .trace = {entry("subobj_list", {}), entry("deinit_node", {})},
     .after = [](Bed& bed) { EXPECT_EQ(bed.stateOf(bed.node("/data")), State{}.text()); }},
    {.name = "subobj_list_of_a_node_without_private_data",
     .call = [](Bed& bed) { return bed.call().subobj_list(bed.node("/data"), &bed.outObjects, &bed.outInt); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = entry("subobj_list", {})},
    {.name = "subobj_list_without_memory_for_its_array",
     .before = [](Bed& bed) { bed.initialised("/data", "/dev/sdb1 /data ext3 rw 0 0\n"); },
     .faults = {.noBufferAtCall = 1},
     .call = [](Bed& bed) { return bed.call().subobj_list(theNode(bed), &bed.outObjects, &bed.outInt); },
     .status = ZFI_ERR_NO_MEMORY,
     .trace = entry("subobj_list", {}),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(bed.outObjects, nullptr);
             EXPECT_EQ(bed.subObjectsOf(theNode(bed)), (std::vector<std::string>{"/dev/sdb1"}));
         }},
    {.name = "subobj_list_of_null_pointers",
     .call =
         [](Bed& bed) {
             Node& node = bed.node("/data");
             EXPECT_EQ(bed.call().subobj_list(nullptr, &bed.outObjects, &bed.outInt), ZFI_ERR_INVALID_ARGUMENT);
             EXPECT_EQ(bed.call().subobj_list(node, nullptr, &bed.outInt), ZFI_ERR_INVALID_ARGUMENT);
             return bed.call().subobj_list(node, &bed.outObjects, nullptr);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = {entry("subobj_list", {}), entry("subobj_list", {}), entry("subobj_list", {})}},
};
CONTRACT_TABLE(NodeEnd, kNodeEnd);

}  // namespace
