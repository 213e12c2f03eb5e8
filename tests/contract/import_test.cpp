// Mounting the snapshot on the host that reads it: import_tree.
#include "bed/row.h"

namespace {

using namespace bed;

const State kXfs = {.device = "/dev/sdb1", .type = "xfs", .options = "rw"};
const State kNfs = {.device = "server:/export", .type = "nfs4", .version = "4", .options = "rw"};
const char* const kDevice = "/dev/sdc1";

int importFrom(Bed& bed, const char* device) {
    znfi_objid* devices[] = {Bed::objid(device)};
    bed.outObject = reinterpret_cast<znfi_objid*>(&bed);
    return bed.call().import_tree(bed.lastNode(), nullptr, devices, 1, &bed.outObject);
}

int importIt(Bed& bed) {
    return importFrom(bed, kDevice);
}

std::function<void(Bed&)> nodeWith(const State& state, const std::vector<const char*>& objids = {}) {
    return [=](Bed& bed) { bed.restored("/data", state, objids); };
}

Trace imports(const Trace& inside) {
    return entry("import_tree", method("importTreeNode", inside));
}

Trace info(const State& state, const std::string& first, const std::string& second, const std::string& device) {
    return {progress("Info, import tree node: /data, " + state.options + ", " + first + ", " + second + ", " +
                     state.altName),
            progress("Info, import tree altTreeNodeIds: " + device + " ")};
}

// The recorded alternate name is asked for first: an empty one is never mounted.
Trace notInPlace(const State& state) {
    return error("tarn_get_mntent_value: device [" + state.altName + "] is not mounted");
}

std::string mountCommand(const std::string& options, const std::string& device, const std::string& place) {
    return "/bin/mount  -o " + options + " \"" + device + "\" \"" + place + "\"";
}

Trace makesPoint(const std::string& place) {
    return primitive("createMntPoint", "/bin/mkdir -p  \"" + place + "\"");
}
Trace tries(const std::string& command) {
    return progress("Info, import tree node: mount with command [" + command + "]");
}
Trace fails(const std::string& command) {
    return error("TARN::importTreeNode - command [" + command + "] failed with message 'not yet there'.");
}

const std::string kCommand = mountCommand("ro,nouuid", kDevice, "/data_alt");
const Command kMkdir = {"/bin/mkdir", "-p", "/data_alt"};
const Command kMount = {"/bin/mount", "-o", "ro,nouuid", kDevice, "/data_alt"};
const Trace kLater = progress("TARN::importTreeNode command will be retried after 30 seconds");
const Answer kNotYet = {.command = "mount", .exitStatus = 32, .prints = "not\n yet there\n"};

// The private host has no SCSI devices.
Trace rescans(const Trace& first = {}) {
    return {progress("TARN::importTreeNode - Initiating device rescan."),
            scope("rescan", "device_discovery_base",
                  {first, progress("libscsitool: Info: CDeviceDiscoveryBase::rescan()."), progress("Acquring lock ."),
                   progress("Got the lock ."), progress("Releasing the lock ."),
                   progress("libscsitool: DEBUG : CDeviceDiscoveryBase::rescan Exit.")})};
}
const Trace kRescans = rescans();

std::function<void(Bed&)> records(State state, const char* name) {
    state.altName = name;
    return [=](Bed& bed) {
        ASSERT_NE(bed.outObject, nullptr);
        EXPECT_STREQ(bed.outObject->name, name);
        EXPECT_EQ(bed.stateOf(bed.lastNode()), state.text());
    };
}

std::function<void(Bed&)> keeps(const State& state) {
    return [=](Bed& bed) { EXPECT_EQ(bed.stateOf(bed.lastNode()), state.text()); };
}

std::function<void(Bed&)> keepsAndWritesNothing(const State& state) {
    return [=](Bed& bed) {
        EXPECT_EQ(bed.stateOf(bed.lastNode()), state.text());
        EXPECT_EQ(static_cast<void*>(bed.outObject), static_cast<void*>(&bed));
    };
}

State with(State state, const char* altName) {
    state.altName = altName;
    return state;
}

Row plain(const char* name, const State& state, const std::string& options, const Command& run,
          const Trace& typeLines = {}) {
    return {.name = name,
            .before = nodeWith(state, {"/data"}),
            .call = importIt,
            .trace = imports({info(state, "/data", "null", kDevice), notInPlace(state), makesPoint("/data_alt"),
                              typeLines, tries(mountCommand(options, kDevice, "/data_alt")), method("setAltName")}),
            .commands = {kMkdir, run},
            .after = records(state, "/data_alt")};
}

Command mountWith(const char* options) {
    return {"/bin/mount", "-o", options, kDevice, "/data_alt"};
}

// /data_alt and the numbered names up to this one, all mounted.
std::string takenPlaces(int last) {
    std::string table = "/dev/sdz /data_alt ext3 rw 0 0\n";
    for (int i = 0; i < last; ++i) {
        table += "/dev/sdz /data_alt" + std::to_string(i) + " ext3 rw 0 0\n";
    }
    return table;
}

const Row kImport[] = {
    plain("xfs_is_mounted_with_nouuid", kXfs, "ro,nouuid", kMount),
    plain("a_type_that_begins_with_xfs_too", {.type = "xfs2"}, "ro,nouuid", kMount),
    plain("ext3_is_mounted_with_ro_only", {.type = "ext3", .options = "rw"}, "ro", mountWith("ro")),
    plain("nfs_version_4_is_a_type", kNfs, "ro -t nfs4 ",
          {"/bin/mount", "-o", "ro", "-t", "nfs4", kDevice, "/data_alt"}, error("nfs version 4")),
    plain("nfs_version_4_1_is_no_type", {.type = "nfs4", .version = "4.1"}, "ro", mountWith("ro"),
          error("nfs version 4.1")),
    plain("nfs_without_version", {.type = "nfs"}, "ro", mountWith("ro"), error("nfs version ")),
    {.name = "no_object_list_is_printed_as_null",
     .before = nodeWith(kXfs),
     .call = importIt,
     .trace = imports({info(kXfs, "null", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                       method("setAltName")}),
     .commands = {kMkdir, kMount},
     .after = records(kXfs, "/data_alt")},
    {.name = "ndmp_mounts_nothing_and_records_the_whole_name",
     .host = {.tableUnreadable = true},
     .before = nodeWith(kXfs, {"/data"}),
     .call = [](Bed& bed) { return importFrom(bed, "NDMP:/vol/x"); },
     .trace = imports({info(kXfs, "/data", "null", "NDMP:/vol/x"),
                       progress("Info, import tree node: NDMP USECASE skipping snapshot mount"), method("setAltName")}),
     .after = records(kXfs, "NDMP:/vol/x")},
    {.name = "ndmp_without_object_id_is_a_success_too",
     .before = nodeWith(kXfs, {"/data"}),
     .faults = {.noObjidFor = "NDMP:/vol/x"},
     .call =
         [](Bed& bed) {
             znfi_objid device{bed.text("NDMP:/vol/x"), 12, 1};
             znfi_objid* devices[] = {&device};
             bed.outObject = reinterpret_cast<znfi_objid*>(&bed);
             return bed.call().import_tree(bed.lastNode(), nullptr, devices, 1, &bed.outObject);
         },
     .trace =
         imports({info(kXfs, "/data", "null", "NDMP:/vol/x"),
                  progress("Info, import tree node: NDMP USECASE skipping snapshot mount"),
                  error("importTreeNode:fipgn_geT_objid with altname (NDMP:/vol/x) failed.\n"), method("setAltName")}),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(bed.outObject, nullptr);
             EXPECT_EQ(bed.stateOf(bed.lastNode()), with(kXfs, "NDMP:/vol/x").text());
         }},
    {.name = "an_import_that_is_in_place_runs_nothing",
     .host = {.mountTable = "/dev/sdc1 /data_alt xfs ro 0 0\n"},
     .before = nodeWith(with(kXfs, "/data_alt"), {"/data"}),
     .call = importIt,
     .trace = imports(info(with(kXfs, "/data_alt"), "/data", "null", kDevice)),
     .after = records(kXfs, "/data_alt")},
    {.name = "an_import_in_place_without_object_id",
     .host = {.mountTable = "/dev/sdc1 /data_alt xfs ro 0 0\n"},
     .before = nodeWith(with(kXfs, "/data_alt"), {"/data"}),
     .faults = {.noObjidFor = "/data_alt"},
     .call = importIt,
     .status = ZFI_ERR_NO_OBJID,
     .trace = imports({info(with(kXfs, "/data_alt"), "/data", "null", kDevice),
                       progress("importTreeNode:fipgn_geT_objid with altname (/data_alt) failed.\n")}),
     .after = keepsAndWritesNothing(with(kXfs, "/data_alt"))},
    {.name = "the_recorded_place_mounted_from_another_device_gives_the_next_name",
     .host = {.mountTable = "/dev/sdz /data_alt xfs ro 0 0\n"},
     .before = nodeWith(with(kXfs, "/data_alt"), {"/data"}),
     .call = importIt,
     .trace = imports({info(with(kXfs, "/data_alt"), "/data", "null", kDevice), makesPoint("/data_alt0"),
                       tries(mountCommand("ro,nouuid", kDevice, "/data_alt0")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "/data_alt0"}, {"/bin/mount", "-o", "ro,nouuid", kDevice, "/data_alt0"}},
     .after = records(kXfs, "/data_alt0")},
    {.name = "an_unreadable_table_names_the_other_method",
     .host = {.tableUnreadable = true},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace =
         imports({info(kXfs, "/data", "null", kDevice), error("tarn_get_mntent_value: fopen() of mnttab file failed"),
                  error("CTARNPlugin::initAltNode: mnt-tab open failed.")}),
     .after = keeps(kXfs)},
    {.name = "a_table_that_becomes_unreadable_while_deriving_a_name",
     .host = {.changes = {{.afterText = "tarn_get_mntent_value: device [] is not mounted", .unreadable = true}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs),
                       error("tarn_get_mntent: fopen() of mnttab file failed"),
                       error("import tree node: mnt-tab file open failed, for node /data_alt")}),
     .after = keeps(kXfs)},
    {.name = "a_table_that_becomes_unreadable_at_a_later_name_tells_that_name",
     .host = {.mountTable = takenPlaces(0), .changes = {{.beforeOpening = 3, .unreadable = true}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs),
                       error("tarn_get_mntent: fopen() of mnttab file failed"),
                       error("import tree node: mnt-tab file open failed, for node /data_alt0")}),
     .after = keeps(kXfs)},
    {.name = "a_requested_name_that_is_free",
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "/snap", kDevice), notInPlace(kXfs), makesPoint("/snap"),
                       tries(mountCommand("ro,nouuid", kDevice, "/snap")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "/snap"}, {"/bin/mount", "-o", "ro,nouuid", kDevice, "/snap"}},
     .after = records(kXfs, "/snap")},
    {.name = "a_requested_name_without_leading_slash_is_accepted",
     .before = nodeWith(kXfs, {"/data", "snap"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "snap", kDevice), notInPlace(kXfs), makesPoint("snap"),
                       tries(mountCommand("ro,nouuid", kDevice, "snap")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "snap"}, {"/bin/mount", "-o", "ro,nouuid", kDevice, "snap"}},
     .after = records(kXfs, "snap")},
    {.name = "a_requested_name_while_the_table_has_become_unreadable_counts_as_free",
     .host = {.changes = {{.afterText = "tarn_get_mntent_value: device [] is not mounted", .unreadable = true}}},
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "/snap", kDevice), notInPlace(kXfs),
                       error("tarn_get_mntent: fopen() of mnttab file failed"), makesPoint("/snap"),
                       tries(mountCommand("ro,nouuid", kDevice, "/snap")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "/snap"}, {"/bin/mount", "-o", "ro,nouuid", kDevice, "/snap"}},
     .after = records(kXfs, "/snap")},
    {.name = "a_request_for_another_node_is_not_for_this_one",
     .before = nodeWith(kXfs, {"/else", "/snap"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/else", "/snap", kDevice), notInPlace(kXfs), makesPoint("/data_alt"),
                       tries(kCommand), method("setAltName")}),
     .commands = {kMkdir, kMount},
     .after = records(kXfs, "/data_alt")},
    {.name = "an_empty_requested_name_is_none",
     .before = nodeWith(kXfs, {"/data", ""}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                       method("setAltName")}),
     .commands = {kMkdir, kMount},
     .after = records(kXfs, "/data_alt")},
    {.name = "the_counter_has_more_than_two_digits",
     .host = {.mountTable = takenPlaces(101)},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt101"),
                       tries(mountCommand("ro,nouuid", kDevice, "/data_alt101")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "/data_alt101"}, {"/bin/mount", "-o", "ro,nouuid", kDevice, "/data_alt101"}},
     .after = records(kXfs, "/data_alt101")},
    {.name = "a_mount_point_that_cannot_be_made_ends_it",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1, .prints = "no\n"}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_FAILED,
     .trace = imports(
         {info(kXfs, "/data", "null", kDevice), notInPlace(kXfs),
          method("createMntPoint", {progress("Command : /bin/mkdir -p  \"/data_alt\""),
                                    error("command '/bin/mkdir -p  \"/data_alt\"' failed with message 'no'.")})}),
     .commands = {kMkdir},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/mkdir -p  \"/data_alt\"")},
     .after = keeps(kXfs)},
    {.name = "a_requested_name_that_is_mounted_is_refused",
     .host = {.mountTable = "/dev/sdz /snap xfs ro 0 0\n"},
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = importIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = imports({info(kXfs, "/data", "/snap", kDevice), notInPlace(kXfs),
                       error("import tree node: mount point already in use [/snap]")}),
     .after = keeps(kXfs)},
    {.name = "a_mount_that_works_at_the_second_attempt",
     .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "not\n yet there\n"}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .trace = imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                       fails(kCommand), kLater, tries(kCommand), method("setAltName")}),
     .commands = {kMkdir, kMount, kMount},
     .waits = {.sleeps = {30}},
     .after = records(kXfs, "/data_alt")},
    {.name = "a_device_that_appears_after_the_rescan_is_mounted_at_the_fifth_attempt",
     .host = {.answers = {{.command = "mount", .nth = 5}, kNotYet}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .trace =
         imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                  fails(kCommand), kLater, tries(kCommand), fails(kCommand), kLater, tries(kCommand), fails(kCommand),
                  kLater, tries(kCommand), fails(kCommand), kRescans, tries(kCommand), method("setAltName")}),
     .commands = {kMkdir, kMount, kMount, kMount, kMount, kMount},
     .waits = {.sleeps = {30, 30, 30}},
     .after = records(kXfs, "/data_alt")},
    {.name = "a_rescan_without_its_lock_goes_on",
     .host = {.answers = {{.command = "mount", .nth = 5}, kNotYet}},
     .before = nodeWith(kXfs, {"/data"}),
     .faults = {.noSemaphore = true},
     .call = importIt,
     .trace = imports(
         {info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
          fails(kCommand), kLater, tries(kCommand), fails(kCommand), kLater, tries(kCommand), fails(kCommand), kLater,
          tries(kCommand), fails(kCommand),
          rescans(error("libscsitool: ERROR: CDeviceDiscoveryBase::rescan() goes on without the lock: No space left on "
                        "device.")),
          tries(kCommand), method("setAltName")}),
     .commands = {kMkdir, kMount, kMount, kMount, kMount, kMount},
     .waits = {.sleeps = {30, 30, 30}},
     .after = records(kXfs, "/data_alt")},
    {.name = "five_failures_take_three_pauses_and_one_rescan",
     .host = {.answers = {kNotYet}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_FAILED,
     .trace =
         imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                  fails(kCommand), kLater, tries(kCommand), fails(kCommand), kLater, tries(kCommand), fails(kCommand),
                  kLater, tries(kCommand), fails(kCommand), kRescans, tries(kCommand), fails(kCommand)}),
     .commands = {kMkdir, kMount, kMount, kMount, kMount, kMount},
     .waits = {.sleeps = {30, 30, 30}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kCommand)},
     .after = keepsAndWritesNothing(kXfs)},
    {.name = "five_failures_of_nfs_take_four_pauses_and_no_rescan",
     .host = {.answers = {kNotYet}},
     .before = nodeWith({.type = "nfs", .version = "3"}, {"/data"}),
     .call = importIt,
     .status = ZFI_ERR_FAILED,
     .trace =
         [] {
             const std::string command = mountCommand("ro", kDevice, "/data_alt");
             const Trace once = {tries(command), fails(command)};
             return imports({info({}, "/data", "null", kDevice), notInPlace({}), makesPoint("/data_alt"),
                             error("nfs version 3"), once, kLater, once, kLater, once, kLater, once, kLater, once});
         }(),
     .commands = {kMkdir, mountWith("ro"), mountWith("ro"), mountWith("ro"), mountWith("ro"), mountWith("ro")},
     .waits = {.sleeps = {30, 30, 30, 30}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", mountCommand("ro", kDevice, "/data_alt"))},
     .after = keeps({.type = "nfs", .version = "3"})},
    {.name = "no_object_id_after_the_mount",
     .before = nodeWith(kXfs, {"/data"}),
     .faults = {.noObjidFor = "/data_alt"},
     .call = importIt,
     .status = ZFI_ERR_NO_OBJID,
     .trace = imports({info(kXfs, "/data", "null", kDevice), notInPlace(kXfs), makesPoint("/data_alt"), tries(kCommand),
                       error("importTreeNode:fipgn_geT_objid with altname (/data_alt) failed.\n")}),
     .commands = {kMkdir, kMount},
     .after = keepsAndWritesNothing(kXfs)},
    {.name = "a_node_without_private_data_is_refused",
     .before = [](Bed& bed) { bed.node("/data"); },
     .call = importIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = imports(error("import tree node, no private data exists for node /data"))},
    {.name = "no_device_is_refused",
     .before = nodeWith(kXfs, {"/data"}),
     .call = [](Bed& bed) { return bed.call().import_tree(bed.lastNode(), nullptr, nullptr, 1, &bed.outObject); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = imports({}),
     .after = keeps(kXfs)},
};
CONTRACT_TABLE(ImportTree, kImport);

}  // namespace
