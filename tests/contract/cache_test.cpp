// Write caching off and on again.
#include "bed/row.h"

namespace {

using namespace bed;

struct Direction {
    const char* entryName;
    const char* methodName;
    const char* retry;  // what a second attempt and a failure are told with, up to the command
    const char* failure;
    const char* invalid;  // what a node without private data is told with
    const char* option;
    std::function<int(Bed&, zfi_domain*)> call;
};

const Direction kDisable = {"cache_disable",
                            "cacheDisable",
                            "TARN::cacheDisable - retrying command [/bin/mount -o remount,sync,rw,noatime "
                            "\"/dev/sdb1\" \"/data\"] after 2 seconds",
                            "TARN::cacheDisable - command [",
                            "Invalid private data for node. Cache disable attempt on file system [/data] failed.",
                            "remount,sync",
                            [](Bed& bed, zfi_domain* node) { return bed.call().cache_disable(node); }};
const Direction kEnable = {
    "cache_enable",
    "cacheEnable",
    "TARN::cacheEnable - retrying command [/bin/mount -o remount,rw,noatime \"/dev/sdb1\" \"/data\"] after 2 seconds",
    "TARN::cacheEnable - command [",
    "Invalid private data for node. Cache enable attempt on file system [/data] failed.",
    "remount",
    [](Bed& bed, zfi_domain* node) {
        bed.call().cache_enable(node);
        return 0;
    }};

std::string command(const Direction& way, const std::string& options) {
    return std::string("/bin/mount -o ") + way.option + options + " \"/dev/sdb1\" \"/data\"";
}

Command argv(const Direction& way, const std::string& options) {
    return {"/bin/mount", "-o", way.option + options, "/dev/sdb1", "/data"};
}

Trace runs(const Direction& way, const Trace& inside) {
    return entry(way.entryName, method(way.methodName, inside));
}

void initialise(Bed& bed) {
    bed.initialised("/data", "/dev/sdb1 /data ext3 rw,noatime 0 0\n");
}

// The rows of one direction: only words and options differ. hasStatus: the entry point answers the status.
std::vector<Row> rows(const Direction& way, bool hasStatus) {
    const auto onLastNode = [call = way.call](Bed& bed) { return call(bed, bed.lastNode()); };
    const std::string line = command(way, ",rw,noatime");
    const Command run = argv(way, ",rw,noatime");
    const Trace tried = {progress("Command : " + line), progress(way.retry)};
    const auto status = [hasStatus](int value) { return hasStatus ? value : 0; };
    return {
        {.name = "remounts_with_the_recorded_options",
         .before = initialise,
         .call = onLastNode,
         .trace = runs(way, progress("Command : " + line)),
         .commands = {run}},
        {.name = "empty_options_bring_no_comma",
         .before =
             [](Bed& bed) {
                 initialise(bed);
                 bed.restore(bed.lastNode(), {.device = "/dev/sdb1", .type = "ext3"});
             },
         .call = onLastNode,
         .trace = runs(way, progress("Command : " + command(way, ""))),
         .commands = {argv(way, "")}},
        {.name = "a_command_that_fails_once_is_tried_again_after_two_seconds",
         .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "busy\n"}}},
         .before = initialise,
         .call = onLastNode,
         .trace = runs(way, tried),
         .commands = {run, run},
         .waits = {.sleeps = {2}}},
        {.name = "a_command_that_fails_twice",
         .host = {.answers = {{.command = "mount", .nth = 1, .exitStatus = 32, .prints = "first\n"},
                              {.command = "mount", .nth = 2, .exitStatus = 1, .prints = "second\n time\n"}}},
         .before = initialise,
         .call = onLastNode,
         .status = status(ZFI_ERR_FAILED),
         .trace = runs(way, {tried, error(way.failure + line + "] failed with message 'second time'.")}),
         .commands = {run, run},
         .waits = {.sleeps = {2}},
         .messages = {failedCommand("ZFI_EXEC_PIPE_CMD_FAILED", line)}},
        {.name = "both_attempts_are_given_ten_minutes",
         .host = {.answers = {{.command = "mount", .hangs = true}}},
         .before = initialise,
         .call = onLastNode,
         .status = status(ZFI_ERR_FAILED),
         .trace = runs(way, {tried, error(way.failure + line + "] failed with message ''.")}),
         .commands = {run, run},
         .waits = {.sleeps = {2}, .limits = {600, 600}},
         .messages = {failedCommand("ZFI_EXEC_PIPE_READ_TIMEOUT", line)}},
        {.name = "a_node_without_private_data",
         .before = [](Bed& bed) { bed.node("/data"); },
         .call = onLastNode,
         .status = status(ZFI_ERR_INVALID_ARGUMENT),
         .trace = runs(way, error(way.invalid))},
        {.name = "a_node_without_sub_object_is_refused",
         .before = [](Bed& bed) { bed.restored("/data", {.device = "/dev/sdb1", .type = "ext3"}); },
         .call = onLastNode,
         .status = status(ZFI_ERR_INVALID_ARGUMENT),
         .trace = runs(way, {})},
        {.name = "a_null_node_is_refused",
         .call = [call = way.call](Bed& bed) { return call(bed, nullptr); },
         .status = status(ZFI_ERR_INVALID_ARGUMENT),
         .trace = runs(way, {})},
    };
}

CONTRACT_TABLE(CacheDisable, rows(kDisable, true));
CONTRACT_TABLE(CacheEnable, rows(kEnable, false));

}  // namespace
