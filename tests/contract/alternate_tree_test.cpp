// Mounting the snapshot beside its origin: build_alttree.
#include "bed/row.h"

namespace {

using namespace bed;

const State kXfs = {.device = "/dev/sdb1", .type = "xfs", .options = "rw"};
const State kExt3 = {.device = "/dev/sdb1", .type = "ext3", .options = "rw"};

int build(Bed& bed, const char* fid, const char* device = "/dev/sdc1") {
    znfi_objid* snapshots[] = {Bed::objid(device)};
    bed.outObject = reinterpret_cast<znfi_objid*>(&bed);
    return bed.call().build_alttree(bed.lastNode(), bed.text(fid), nullptr, snapshots, 1, &bed.outObject);
}

int buildIt(Bed& bed) {
    return build(bed, "fid");
}

Trace builds(const Trace& inside) {
    return entry("build_alttree", method("buildAltTree", inside));
}

std::string mountCommand(const std::string& options, const std::string& device, const std::string& place) {
    return "/bin/mount  -o " + options + " \"" + device + "\" \"" + place + "\"";
}

Trace makesPoint(const std::string& place) {
    return primitive("createMntPoint", "/bin/mkdir -p  \"" + place + "\"");
}

// The whole success: directory, mount, alternate name recorded.
Trace mountsAt(const std::string& options, const std::string& place) {
    return {makesPoint(place), progress("Command : " + mountCommand(options, "/dev/sdc1", place)),
            method("setAltName")};
}

Commands mountedAt(const char* options, const char* place) {
    return {{"/bin/mkdir", "-p", place}, {"/bin/mount", "-o", options, "/dev/sdc1", place}};
}

std::function<void(Bed&)> nodeWith(const State& state, const std::vector<const char*>& objids = {}) {
    return [=](Bed& bed) { bed.restored("/data", state, objids); };
}

std::function<void(Bed&)> recordsAltName(State state, const char* name) {
    state.altName = name;
    return [=](Bed& bed) {
        ASSERT_NE(bed.outObject, nullptr);
        EXPECT_STREQ(bed.outObject->name, name);
        EXPECT_EQ(bed.outObject->flag, static_cast<uint32_t>(ZFI_OBJID_NAMED));
        EXPECT_EQ(bed.stateOf(bed.lastNode()), state.text());
    };
}

void changesNothing(Bed& bed) {
    EXPECT_EQ(static_cast<void*>(bed.outObject), static_cast<void*>(&bed));
    EXPECT_EQ(bed.stateOf(bed.lastNode()), kXfs.text());
}

std::string mounted(const std::vector<std::string>& places) {
    std::string table;
    for (const std::string& place : places) {
        table += "/dev/sdz " + place + " ext3 rw 0 0\n";
    }
    return table;
}

std::string numberedPlaces(int count) {
    std::vector<std::string> places = {"/data_alt"};
    for (int i = 0; i < count; ++i) {
        places.push_back("/data_alt" + std::to_string(i));
    }
    return mounted(places);
}

const Row kBuild[] = {
    {.name = "a_derived_name_and_nouuid_for_xfs",
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt")),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .after = recordsAltName(kXfs, "/data_alt")},
    {.name = "ext3_is_mounted_with_ro_only",
     .before = nodeWith(kExt3, {"/data"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro", "/data_alt")),
     .commands = mountedAt("ro", "/data_alt"),
     .after = recordsAltName(kExt3, "/data_alt")},
    {.name = "a_type_that_begins_with_xfs_gets_nouuid",
     .before = nodeWith({.type = "xfsx"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt")),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .after = recordsAltName({.type = "xfsx"}, "/data_alt")},
    {.name = "data_alt_and_data_alt0_taken_gives_data_alt1",
     .host = {.mountTable = numberedPlaces(1)},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt1")),
     .commands = mountedAt("ro,nouuid", "/data_alt1"),
     .after = recordsAltName(kXfs, "/data_alt1")},
    {.name = "ninety_nine_taken_gives_data_alt99",
     .host = {.mountTable = numberedPlaces(99)},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt99")),
     .commands = mountedAt("ro,nouuid", "/data_alt99"),
     .after = recordsAltName(kXfs, "/data_alt99")},
    {.name = "from_one_hundred_on_the_counter_repeats_its_first_two_digits",
     .host = {.mountTable = numberedPlaces(100),
              .changes = {{.beforeOpening = 105, .mountTable = mounted({"/data_alt"})}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt10")),
     .commands = mountedAt("ro,nouuid", "/data_alt10"),
     .after = recordsAltName(kXfs, "/data_alt10")},
    {.name = "a_requested_name_that_is_free",
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/snap")),
     .commands = mountedAt("ro,nouuid", "/snap"),
     .after = recordsAltName(kXfs, "/snap")},
    {.name = "a_requested_name_that_is_free_while_the_table_is_unreadable",
     .host = {.tableUnreadable = true},
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = buildIt,
     .trace = builds({error("tarn_get_mntent: fopen() of mnttab file failed"), mountsAt("ro,nouuid", "/snap")}),
     .commands = mountedAt("ro,nouuid", "/snap"),
     .after = recordsAltName(kXfs, "/snap")},
    {.name = "a_requested_name_without_leading_slash_is_refused",
     .before = nodeWith(kXfs, {"/data", "data_alt"}),
     .call = buildIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds(error("Build alt tree failed due to invalid alt node name [data_alt]")),
     .after = changesNothing},
    {.name = "a_requested_name_that_is_mounted_is_refused",
     .host = {.mountTable = mounted({"/snap"})},
     .before = nodeWith(kXfs, {"/data", "/snap"}),
     .call = buildIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds(error("CTARNPlugin::buildAltTree: Alt node name [/snap] already mounted.")),
     .after = changesNothing},
    {.name = "a_request_for_another_node_is_not_for_this_one",
     .before = nodeWith(kXfs, {"/else", "/snap"}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt")),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .after = recordsAltName(kXfs, "/data_alt")},
    {.name = "an_empty_requested_name_is_none",
     .before = nodeWith(kXfs, {"/data", ""}),
     .call = buildIt,
     .trace = builds(mountsAt("ro,nouuid", "/data_alt")),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .after = recordsAltName(kXfs, "/data_alt")},
    {.name = "an_unreadable_table_while_deriving_a_name",
     .host = {.tableUnreadable = true},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .status = ZFI_ERR_MOUNT_TABLE,
     .trace = builds({error("tarn_get_mntent: fopen() of mnttab file failed"),
                      error("CTARNPlugin::buildAltTree: mnt-tab file open failed.")}),
     .after = changesNothing},
    {.name = "a_mount_that_fails_leaves_the_mount_point",
     .host = {.answers = {{.command = "mount", .exitStatus = 32, .prints = "wrong fs type\n, bad option\n"}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .status = ZFI_ERR_FAILED,
     .trace =
         builds({makesPoint("/data_alt"), progress("Command : " + mountCommand("ro,nouuid", "/dev/sdc1", "/data_alt")),
                 error("TARN::buildAltTree - command [" + mountCommand("ro,nouuid", "/dev/sdc1", "/data_alt") +
                       "] failed with message 'wrong fs type, bad option'.")}),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", mountCommand("ro,nouuid", "/dev/sdc1", "/data_alt"))},
     .after = changesNothing},
    {.name = "a_mount_point_that_cannot_be_made_ends_it",
     .host = {.answers = {{.command = "mkdir", .exitStatus = 1, .prints = "mkdir: no\n"}}},
     .before = nodeWith(kXfs, {"/data"}),
     .call = buildIt,
     .status = ZFI_ERR_FAILED,
     .trace = builds(
         method("createMntPoint", {progress("Command : /bin/mkdir -p  \"/data_alt\""),
                                   error("command '/bin/mkdir -p  \"/data_alt\"' failed with message 'mkdir: no'.")})),
     .commands = {{"/bin/mkdir", "-p", "/data_alt"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", "/bin/mkdir -p  \"/data_alt\"")},
     .after = changesNothing},
    {.name = "no_object_id_for_the_alternate_name",
     .before = nodeWith(kXfs, {"/data"}),
     .faults = {.noObjidFor = "/data_alt"},
     .call = buildIt,
     .status = ZFI_ERR_NO_OBJID,
     .trace =
         builds({makesPoint("/data_alt"), progress("Command : " + mountCommand("ro,nouuid", "/dev/sdc1", "/data_alt")),
                 error("buildAltTree:fipgn_geT_objid with altname (/data_alt) failed.\n")}),
     .commands = mountedAt("ro,nouuid", "/data_alt"),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(bed.outObject, nullptr);
             EXPECT_EQ(bed.stateOf(bed.lastNode()), kXfs.text());
         }},
    {.name = "names_with_blanks_are_quoted",
     .before = [](Bed& bed) { bed.restored("/my data", kExt3); },
     .call = [](Bed& bed) { return build(bed, "fid", "/dev/my disk"); },
     .trace =
         builds({makesPoint("/my data_alt"),
                 progress("Command : " + mountCommand("ro", "/dev/my disk", "/my data_alt")), method("setAltName")}),
     .commands = {{"/bin/mkdir", "-p", "/my data_alt"}, {"/bin/mount", "-o", "ro", "/dev/my disk", "/my data_alt"}},
     .after = recordsAltName(kExt3, "/my data_alt")},
    {.name = "a_null_fid_is_refused",
     .before = nodeWith(kXfs, {"/data"}),
     .call =
         [](Bed& bed) {
             znfi_objid* snapshots[] = {Bed::objid("/dev/sdc1")};
             bed.outObject = reinterpret_cast<znfi_objid*>(&bed);
             return bed.call().build_alttree(bed.lastNode(), nullptr, nullptr, snapshots, 1, &bed.outObject);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds(progress("Exiting buildAltTree, invalid session/fid\n")),
     .after = changesNothing},
    {.name = "a_null_node_is_refused",
     .call =
         [](Bed& bed) {
             znfi_objid* snapshots[] = {Bed::objid("/dev/sdc1")};
             return bed.call().build_alttree(nullptr, bed.text("fid"), nullptr, snapshots, 1, &bed.outObject);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds(progress("Exiting buildAltTree, invalid session/fid\n"))},
    {.name = "a_node_without_private_data_is_refused",
     .before = [](Bed& bed) { bed.node("/data"); },
     .call = buildIt,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds({})},
    {.name = "no_snapshot_object_is_refused",
     .before = nodeWith(kXfs, {"/data"}),
     .call =
         [](Bed& bed) {
             return bed.call().build_alttree(bed.lastNode(), bed.text("fid"), nullptr, nullptr, 1, &bed.outObject);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = builds({})},
};
CONTRACT_TABLE(BuildAltTree, kBuild);

}  // namespace
