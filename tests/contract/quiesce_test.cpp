// Freeze and thaw.
#include "bed/row.h"

namespace {

using namespace bed;

const char* const kXfsTable = "/dev/sdb1 /data xfs rw 0 0\n";
const std::string kFreeze = "/usr/sbin/xfs_freeze -f  /data";
const std::string kThaw = "/usr/sbin/xfs_freeze -u  /data";

Trace freezes(const Trace& inside) {
    return entry("quiesce", method("quiesce", inside));
}
Trace thaws(const Trace& inside) {
    return entry("unquiesce", method("unquiesce", inside));
}

// A node of any type, as init_node would leave it, with a quiesce record of the framework's own.
zfi_quiescenode* recordOf(Bed& bed, const char* name, const State& state) {
    bed.quiesceRecords.push_back({nullptr, &bed.restored(name, state).domain, nullptr});
    return &bed.quiesceRecords.back();
}

int quiesceAlone(Bed& bed) {
    return bed.call().quiesce(&bed.quiesceRecords.front(), nullptr, 0, nullptr);
}

int unquiesceAlone(Bed& bed) {
    bed.call().unquiesce(&bed.quiesceRecords.front(), nullptr, 0);
    return 0;
}

std::function<void(Bed&)> nodeOfType(const char* type) {
    return [type](Bed& bed) { recordOf(bed, "/data", {.device = "/dev/sdb1", .type = type}); };
}

Row frozenType(const char* name, const char* type) {
    return {.name = name,
            .before = nodeOfType(type),
            .call = quiesceAlone,
            .trace = freezes(progress("Command : " + kFreeze)),
            .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}}};
}

Row leftAlone(const char* name, const char* type) {
    return {.name = name, .before = nodeOfType(type), .call = quiesceAlone, .trace = freezes({})};
}

void twoXfsNodes(Bed& bed) {
    recordOf(bed, "/data", {.type = "xfs"});
    recordOf(bed, "/other", {.type = "xfs"});
    for (zfi_quiescenode& record : bed.quiesceRecords) {
        bed.quiesceList.push_back(&record);
    }
}

const Row kQuiesce[] = {
    {.name = "an_initialised_xfs_node_is_frozen",
     .before = [](Bed& bed) { bed.initialised("/data", kXfsTable); },
     .call = [](Bed& bed) { return bed.call().quiesce(bed.lastNode()->quiesce, nullptr, 0, nullptr); },
     .trace = freezes(progress("Command : " + kFreeze)),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}}},
    frozenType("a_type_that_begins_with_xfs_is_frozen", "xfsx"),
    frozenType("ufs_is_frozen_by_xfs_freeze_and_no_lockfs", "ufs"),
    frozenType("a_type_that_begins_with_ufs_is_frozen", "ufs2"),
    leftAlone("ext3_is_left_alone", "ext3"),
    leftAlone("nfs_is_left_alone", "nfs"),
    leftAlone("capitals_are_left_alone", "XFS"),
    leftAlone("two_letters_are_left_alone", "xf"),
    leftAlone("no_type_is_left_alone", ""),
    {.name = "a_list_of_two_freezes_only_the_first",
     .before = twoXfsNodes,
     .call = [](Bed& bed) { return bed.call().quiesce(nullptr, bed.quiesceList.data(), 2, bed.text("options")); },
     .trace = freezes(progress("Command : " + kFreeze)),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}}},
    {.name = "a_single_node_beside_a_list_is_ignored",
     .before = twoXfsNodes,
     .call =
         [](Bed& bed) { return bed.call().quiesce(&bed.quiesceRecords.back(), bed.quiesceList.data(), 2, nullptr); },
     .trace = freezes(progress("Command : " + kFreeze)),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}}},
    {.name = "no_node_and_no_list_is_refused",
     .call = [](Bed& bed) { return bed.call().quiesce(nullptr, nullptr, 0, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = freezes({})},
    {.name = "a_node_without_private_data_is_refused",
     .before =
         [](Bed& bed) {
             bed.quiesceRecords.push_back({nullptr, &bed.node("/data").domain, nullptr});
         },
     .call = quiesceAlone,
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = freezes({})},
    {.name = "a_freeze_that_fails_is_reported_and_nothing_is_thawed",
     .host = {.answers = {{.command = "xfs_freeze", .exitStatus = 1, .prints = "cannot freeze\n: busy\n"}}},
     .before = nodeOfType("xfs"),
     .call = quiesceAlone,
     .status = ZFI_ERR_FAILED,
     .trace = freezes({progress("Command : " + kFreeze),
                       error("TARN::quiesce - command [" + kFreeze + "] failed with message 'cannot freeze: busy'.")}),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kFreeze)}},
    {.name = "a_freeze_that_is_killed",
     .host = {.answers = {{.command = "xfs_freeze", .endsBySignal = 9}}},
     .before = nodeOfType("xfs"),
     .call = quiesceAlone,
     .status = ZFI_ERR_FAILED,
     .trace = freezes({progress("Command : " + kFreeze),
                       error("TARN::quiesce - command [" + kFreeze + "] failed with message ''.")}),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_KILLED", kFreeze)}},
    {.name = "a_freeze_that_hangs_is_given_ten_minutes",
     .host = {.answers = {{.command = "xfs_freeze", .prints = "waiting\n", .hangs = true}}},
     .before = nodeOfType("xfs"),
     .call = quiesceAlone,
     .status = ZFI_ERR_FAILED,
     .trace = freezes({progress("Command : " + kFreeze),
                       error("TARN::quiesce - command [" + kFreeze + "] failed with message 'waiting'.")}),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}},
     .waits = {.limits = {600}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_READ_TIMEOUT", kFreeze)}},
    {.name = "a_freeze_command_that_does_not_exist",
     .host = {.missingCommands = {"xfs_freeze"}},
     .before = nodeOfType("xfs"),
     .call = quiesceAlone,
     .status = ZFI_ERR_FAILED,
     .trace = freezes({progress("Command : " + kFreeze),
                       error("TARN::quiesce - command [" + kFreeze + "] failed with message ''.")}),
     .messages = {failedCommand("ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST", kFreeze)}},
    {.name = "a_mount_point_with_a_blank_is_split",
     .before = [](Bed& bed) { recordOf(bed, "/my data", {.type = "xfs"}); },
     .call = quiesceAlone,
     .trace = freezes(progress("Command : /usr/sbin/xfs_freeze -f  /my data")),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/my", "data"}}},
};
CONTRACT_TABLE(Quiesce, kQuiesce);

const Row kUnquiesce[] = {
    {.name = "xfs_is_thawed",
     .before = nodeOfType("xfs"),
     .call = unquiesceAlone,
     .trace = thaws(progress("Command : " + kThaw)),
     .commands = {{"/usr/sbin/xfs_freeze", "-u", "/data"}}},
    {.name = "ufs_is_thawed_by_xfs_freeze",
     .before = nodeOfType("ufs"),
     .call = unquiesceAlone,
     .trace = thaws(progress("Command : " + kThaw)),
     .commands = {{"/usr/sbin/xfs_freeze", "-u", "/data"}}},
    {.name = "ext3_is_left_alone", .before = nodeOfType("ext3"), .call = unquiesceAlone, .trace = thaws({})},
    {.name = "a_list_of_two_thaws_only_the_first",
     .before = twoXfsNodes,
     .call =
         [](Bed& bed) {
             bed.call().unquiesce(&bed.quiesceRecords.back(), bed.quiesceList.data(), 2);
             return 0;
         },
     .trace = thaws(progress("Command : " + kThaw)),
     .commands = {{"/usr/sbin/xfs_freeze", "-u", "/data"}}},
    {.name = "a_thaw_that_fails_is_a_message",
     .host = {.answers = {{.command = "xfs_freeze", .exitStatus = 1, .prints = "not frozen\n"}}},
     .before = nodeOfType("xfs"),
     .call = unquiesceAlone,
     .trace = thaws({progress("Command : " + kThaw),
                     error("TARN::unquiesce - command [" + kThaw + "] failed with message 'not frozen'.")}),
     .commands = {{"/usr/sbin/xfs_freeze", "-u", "/data"}},
     .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", kThaw)}},
    {.name = "no_node_and_a_node_without_private_data_run_nothing",
     .before =
         [](Bed& bed) {
             bed.quiesceRecords.push_back({nullptr, &bed.node("/data").domain, nullptr});
         },
     .call =
         [](Bed& bed) {
             bed.call().unquiesce(nullptr, nullptr, 0);
             return unquiesceAlone(bed);
         },
     .trace = {thaws({}), thaws({})}},
};
CONTRACT_TABLE(Unquiesce, kUnquiesce);

}  // namespace
