// Mounting the origin again: enable_access.
#include "bed/access_rows.h"
#include "bed/row.h"

namespace {

using namespace bed;

int enable(Bed& bed) {
    return bed.call().enable_access(&bed.accessList.front(), 0, 0, 0);
}

Trace enables(const Trace& inside) {
    return entry("enable_access", method("enableAccess", inside));
}
Trace notMounted(const std::string& device) {
    return error("tarn_getmnt: device [" + device + "] is not mounted");
}
Trace makesPoint(const std::string& place) {
    return primitive("createMntPoint", "/bin/mkdir -p  \"" + place + "\"");
}

const Command kMkdir = {"/bin/mkdir", "-p", "/data"};

// A list of one offline node of that state.
std::function<void(Bed&)> offline(const State& state, const char* device) {
    return [=](Bed& bed) {
        Node& node = bed.restored("/data", state);
        node->state |= ZFI_STATE_OFFLINE;
        addNodeToAccessList(bed, node, {device});
    };
}

void addOffline(Bed& bed, const char* name, const char* device) {
    Node& node = bed.restored(name, {.device = device, .type = "ext3", .options = "rw"});
    node->state |= ZFI_STATE_OFFLINE;
    addNodeToAccessList(bed, node, {device});
}

void twoOffline(Bed& bed) {
    addOffline(bed, "/data", "/dev/sdb1");
    addOffline(bed, "/logs", "/dev/sdc1");
}

Row local(const char* name, const char* type, const char* options, const std::string& command, const Command& run) {
    return {.name = name,
            .before = offline({.device = "/dev/sdb1", .type = type, .options = options}, "/dev/sdb1"),
            .call = enable,
            .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"), progress("Command : " + command)}),
            .commands = {kMkdir, run},
            .after = offlineAre({false})};
}

// words: the options of the command, each of them an argument. newOptions: the list that the trace shows.
Row nfs(const char* name, const char* type, const std::string& version, const std::string& options,
        const std::string& newOptions, const std::string& command, const Command& run) {
    Trace lines = {notMounted("server:/export"), makesPoint("/data"),
                   progress("CTARNPlugin::enableAccess - nfs version " + version)};
    if (!options.empty()) {
        lines = {lines, progress("mnt_opts [" + options + "]"), progress("new mnt_opts [" + newOptions + "]")};
        if (newOptions != " ") {
            lines = {lines, progress("Setting mount options - mnt_opts [" + newOptions + "]")};
        }
    }
    return {.name = name,
            .before = offline({.device = "server:/export", .type = type, .version = version, .options = options},
                              "server:/export"),
            .call = enable,
            .trace = enables({lines, progress("Command : " + command)}),
            .commands = {kMkdir, run},
            .after = offlineAre({false})};
}

const Row kEnable[] = {
    local("a_local_type_with_its_options", "ext3", "rw,noatime", "/bin/mount  -o rw,noatime \"/dev/sdb1\" \"/data\"",
          {"/bin/mount", "-o", "rw,noatime", "/dev/sdb1", "/data"}),
    local("a_local_type_keeps_the_word_remount", "xfs", "rw,remount",
          "/bin/mount  -o rw,remount \"/dev/sdb1\" \"/data\"",
          {"/bin/mount", "-o", "rw,remount", "/dev/sdb1", "/data"}),
    local("a_local_type_without_options", "ext3", "", "/bin/mount  \"/dev/sdb1\" \"/data\"",
          {"/bin/mount", "/dev/sdb1", "/data"}),
    nfs("nfs_version_3_loses_the_word_remount", "nfs", "3", "rw,remount,hard", " rw,hard",
        "/bin/mount  -o  rw,hard,vers=3 \"server:/export\" \"/data\"",
        {"/bin/mount", "-o", "rw,hard,vers=3", "server:/export", "/data"}),
    nfs("a_trailing_remount_leaves_a_trailing_comma", "nfs", "3", "rw,hard,remount", " rw,hard,",
        "/bin/mount  -o  rw,hard,,vers=3 \"server:/export\" \"/data\"",
        {"/bin/mount", "-o", "rw,hard,,vers=3", "server:/export", "/data"}),
    nfs("only_the_word_remount_leaves_no_options", "nfs", "3", "remount", " ",
        "/bin/mount ,vers=3 \"server:/export\" \"/data\"", {"/bin/mount", ",vers=3", "server:/export", "/data"}),
    nfs("nfs_version_4_is_a_type_and_no_option", "nfs4", "4", "rw,hard", " rw,hard",
        "/bin/mount  -t nfs4  -o  rw,hard \"server:/export\" \"/data\"",
        {"/bin/mount", "-t", "nfs4", "-o", "rw,hard", "server:/export", "/data"}),
    nfs("a_version_that_only_begins_with_4_is_an_option", "nfs4", "4.1", "rw", " rw",
        "/bin/mount  -o  rw,vers=4.1 \"server:/export\" \"/data\"",
        {"/bin/mount", "-o", "rw,vers=4.1", "server:/export", "/data"}),
    nfs("an_empty_nfs_version_gives_a_bare_vers", "nfs", "", "rw", " rw",
        "/bin/mount  -o  rw,vers= \"server:/export\" \"/data\"",
        {"/bin/mount", "-o", "rw,vers=", "server:/export", "/data"}),
    nfs("nfs_without_options", "nfs", "3", "", "", "/bin/mount ,vers=3 \"server:/export\" \"/data\"",
        {"/bin/mount", ",vers=3", "server:/export", "/data"}),
    {.name = "taking_the_mark_away_leaves_the_other_bits_alone",
     .before =
         [](Bed& bed) {
             addOffline(bed, "/data", "/dev/sdb1");
             bed.accessList.front().node->state = 0xffffffffU;
         },
     .call = enable,
     .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/data\"")}),
     .commands = {kMkdir, {"/bin/mount", "-o", "rw", "/dev/sdb1", "/data"}},
     .after = [](Bed& bed) { EXPECT_EQ(bed.accessList.front().node->state, ~ZFI_STATE_OFFLINE); }},
    {.name = "bit_0_of_options_mounts_nothing",
     .before = offline({.device = "/dev/sdb1", .type = "ext3"}, "/dev/sdb1"),
     .call = [](Bed& bed) { return bed.call().enable_access(&bed.accessList.front(), 0, 0, 1); },
     .trace = enables({}),
     .after = offlineAre({true})},
    {.name = "flags_and_the_other_bits_of_options_do_not_matter",
     .before = offline({.device = "/dev/sdb1", .type = "ext3", .options = "rw"}, "/dev/sdb1"),
     .call = [](Bed& bed) { return bed.call().enable_access(&bed.accessList.front(), -1, -1, ~1); },
     .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/data\"")}),
     .commands = {kMkdir, {"/bin/mount", "-o", "rw", "/dev/sdb1", "/data"}},
     .after = offlineAre({false})},
    {.name = "bit_0_of_options_comes_before_the_null_list",
     .call = [](Bed& bed) { return bed.call().enable_access(nullptr, 0, 0, 3); },
     .trace = enables({})},
    {.name = "a_node_that_is_not_offline_is_passed_over",
     .before =
         [](Bed& bed) {
             twoOffline(bed);
             bed.accessList.front().node->state = 0;
         },
     .call = enable,
     .trace = enables({notMounted("/dev/sdc1"), makesPoint("/logs"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdc1\" \"/logs\"")}),
     .commands = {{"/bin/mkdir", "-p", "/logs"}, {"/bin/mount", "-o", "rw", "/dev/sdc1", "/logs"}},
     .after = offlineAre({false, false})},
    {.name = "ndmp_is_a_matter_of_the_device_and_ends_the_list",
     .before =
         [](Bed& bed) {
             addOffline(bed, "/data", "NDMP:/vol/x");
             addOffline(bed, "/logs", "/dev/sdc1");
         },
     .call = enable,
     .trace = enables(progress("NDMP USECASE enableAccess is no-op {NDMP:/vol/x}")),
     .after = offlineAre({true, true})},
    {.name = "mounted_at_its_own_place_ends_the_list_and_stays_marked",
     .host = {.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n"},
     .before = twoOffline,
     .call = enable,
     .trace = enables(progress("Device {/dev/sdb1} is already mounted")),
     .after = offlineAre({true, true})},
    {.name = "mounted_elsewhere",
     .host = {.mountTable = "/dev/sdb1 /else ext3 rw 0 0\n"},
     .before = twoOffline,
     .call = enable,
     .status = ZFI_ERR_BUSY,
     .trace = enables(error("Device {/dev/sdb1} is mounted on different mount point already.")),
     .after = offlineAre({true, true})},
    {.name = "a_device_mounted_twice_counts_where_it_is_first",
     .host = {.mountTable = "/dev/sdb1 /else ext3 rw 0 0\n/dev/sdb1 /data ext3 rw 0 0\n"},
     .before = twoOffline,
     .call = enable,
     .status = ZFI_ERR_BUSY,
     .trace = enables(error("Device {/dev/sdb1} is mounted on different mount point already.")),
     .after = offlineAre({true, true})},
    {.name = "an_unreadable_mount_table",
     .host = {.tableUnreadable = true},
     .before = twoOffline,
     .call = enable,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = enables(
         {error("tarn_getmnt: fopen() of mnttab file failed"), error("enableAccess: mnt-tab file open failed.")}),
     .after = offlineAre({true, true})},
    {.name = "a_missing_sub_object_list",
     .before =
         [](Bed& bed) {
             twoOffline(bed);
             bed.accessList.front().subobjs = nullptr;
         },
     .call = enable,
     .status = ZFI_ERR_FAILED,
     .trace = enables(error("Subobj list is not set ")),
     .after = offlineAre({true, true})},
    {.name = "a_mount_that_fails_leaves_earlier_nodes_mounted",
     .host = {.answers = {{.command = "mount", .nth = 2, .exitStatus = 32, .prints = "no\n such device\n"}}},
     .before = twoOffline,
     .call = enable,
     .status = ZFI_ERR_MOUNT_FAILED,
     .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/data\""), notMounted("/dev/sdc1"),
                       makesPoint("/logs"), progress("Command : /bin/mount  -o rw \"/dev/sdc1\" \"/logs\""),
                       error("TARN::enableAccess - mount command [/bin/mount  -o rw \"/dev/sdc1\" \"/logs\"] failed "
                             "with message 'no such device'.")}),
     .commands = {kMkdir,
                  {"/bin/mount", "-o", "rw", "/dev/sdb1", "/data"},
                  {"/bin/mkdir", "-p", "/logs"},
                  {"/bin/mount", "-o", "rw", "/dev/sdc1", "/logs"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/mount  -o rw \"/dev/sdc1\" \"/logs\"")},
     .after = offlineAre({false, true})},
    {.name = "a_repeated_call_goes_on_with_the_nodes_not_yet_done",
     .before =
         [](Bed& bed) {
             twoOffline(bed);
             shapeHost({.answers = {{.command = "mount", .nth = 2, .exitStatus = 32}}});
             EXPECT_EQ(enable(bed), ZFI_ERR_MOUNT_FAILED);
         },
     .call = enable,
     .trace = enables({notMounted("/dev/sdc1"), makesPoint("/logs"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdc1\" \"/logs\"")}),
     .commands = {{"/bin/mkdir", "-p", "/logs"}, {"/bin/mount", "-o", "rw", "/dev/sdc1", "/logs"}},
     .after = offlineAre({false, false})},
    {.name = "what_disable_found_unmounted_is_mounted",
     .before =
         [](Bed& bed) {
             Node& node = bed.restored("/data", {.device = "/dev/sdb1", .type = "ext3", .options = "rw"});
             addNodeToAccessList(bed, node, {"/dev/sdb1"});
             EXPECT_EQ(bed.call().disable_access(&bed.accessList.front(), 0), ZFI_OK);
         },
     .call = enable,
     .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/data\"")}),
     .commands = {kMkdir, {"/bin/mount", "-o", "rw", "/dev/sdb1", "/data"}},
     .after = offlineAre({false})},
    {.name = "a_mount_point_that_cannot_be_made",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1}}},
     .before = twoOffline,
     .call = enable,
     .status = ZFI_ERR_MOUNT_FAILED,
     .trace =
         enables({notMounted("/dev/sdb1"),
                  method("createMntPoint", {progress("Command : /bin/mkdir -p  \"/data\""),
                                            error("command '/bin/mkdir -p  \"/data\"' failed with message ''.")})}),
     .commands = {kMkdir},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/mkdir -p  \"/data\"")},
     .after = offlineAre({true, true})},
    {.name = "a_null_list_is_refused",
     .call = [](Bed& bed) { return bed.call().enable_access(nullptr, 0, 0, 0); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = enables(error("Invalid node data. Enable access attempt failed."))},
    {.name = "a_list_whose_first_entry_has_no_node_is_refused",
     .before = [](Bed& bed) { bed.accessList.emplace_back(); },
     .call = enable,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = enables(error("Invalid node data. Enable access attempt failed."))},
    {.name = "a_later_entry_without_node_ends_it_after_those_before",
     .before =
         [](Bed& bed) {
             twoOffline(bed);
             bed.accessList.back().node = nullptr;
         },
     .call = enable,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = enables({notMounted("/dev/sdb1"), makesPoint("/data"),
                       progress("Command : /bin/mount  -o rw \"/dev/sdb1\" \"/data\"")}),
     .commands = {kMkdir, {"/bin/mount", "-o", "rw", "/dev/sdb1", "/data"}},
     .after = [](Bed& bed) { EXPECT_EQ(bed.accessList.front().node->state, 0U); }},
};
CONTRACT_TABLE(EnableAccess, kEnable);

// A node that has no private data: the device is brought online at its path.
const std::string kFirst = "/bin/mount  -t xfs  -o ro,nouuid \"/dev/sdb1\" \"/data\"";
const std::string kSecond = "/bin/mount  -o ro \"/dev/sdb1\" \"/data\"";
const Command kFirstCommand = {"/bin/mount", "-t", "xfs", "-o", "ro,nouuid", "/dev/sdb1", "/data"};
const Command kSecondCommand = {"/bin/mount", "-o", "ro", "/dev/sdb1", "/data"};
const Trace kTriesXfs = {notMounted("/dev/sdb1"), makesPoint("/data"),
                         progress("trying onlining with xfs cmd=\"" + kFirst + "\"")};
const Trace kTriesAny = {kTriesXfs, progress("onlining with xfs failed, not a xfs filesytem"),
                         progress("onlining cmd=\"" + kSecond + "\"")};

Trace initialises(const std::string& type) {
    return method("initNode", {detail("mnt_fsname [/dev/sdb1]"), detail("fstype [" + type + "]"),
                               detail("mnt_opts [ro]"), recordsMount()});
}

void unknownNode(Bed& bed) {
    addToAccessList(bed, "/data", {"/dev/sdb1"});
    bed.accessList.front().node->state |= ZFI_STATE_OFFLINE;
}

Answer mounts(int nth, const char* type) {
    return {.command = "mount",
            .nth = nth,
            .setsMountTable = true,
            .mountTable = std::string("/dev/sdb1 /data ") + type + " ro 0 0\n"};
}

const Row kOnline[] = {
    {.name = "xfs_at_the_first_try_gets_private_data_and_quiesce_record",
     .host = {.answers = {mounts(1, "xfs")}},
     .before = unknownNode,
     .call = enable,
     .trace = enables({kTriesXfs, initialises("xfs")}),
     .commands = {kMkdir, kFirstCommand},
     .after =
         [](Bed& bed) {
             offlineAre({false})(bed);
             ASSERT_NE(bed.accessList.front().node->quiesce, nullptr);
             EXPECT_STREQ(bed.accessList.front().node->quiesce->method, "xfs_freeze");
         }},
    {.name = "another_type_at_the_second_try",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "no xfs\n"}, mounts(2, "ext3")}},
     .before = unknownNode,
     .call = enable,
     .trace = enables({kTriesAny, initialises("ext3")}),
     .commands = {kMkdir, kFirstCommand, kSecondCommand},
     .after = offlineAre({false})},
    {.name = "a_node_that_cannot_be_initialised_then_is_online_all_the_same",
     .before = unknownNode,
     .call = enable,
     .trace = enables({kTriesXfs, method("initNode", {error("tarn_get_mntent_value: device [/data] is not mounted"),
                                                      error("CTARNPlugin::initNode: mount point entry lookup "
                                                            "failed.")})}),
     .commands = {kMkdir, kFirstCommand},
     .after = offlineAre({false})},
    {.name = "both_tries_fail",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "first\n"},
                          {.command = "mount", .nth = 2, .exitStatus = 32, .prints = "second\n"}}},
     .before = unknownNode,
     .call = enable,
     .status = ZFI_ERR_MOUNT_FAILED,
     .trace = enables(
         {kTriesAny, error("TARN::enableAccess - mount command [" + kSecond + "] failed with message 'second'.")}),
     .commands = {kMkdir, kFirstCommand, kSecondCommand},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kSecond)},
     .after = offlineAre({true})},
};
CONTRACT_TABLE(EnableUnknownNode, kOnline);

}  // namespace
