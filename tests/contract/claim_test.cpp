// Whose object is it: claim, check_node_existence, is_parent_pgn.
#include <sys/statfs.h>

#include <filesystem>
#include <fstream>

#include "bed/layout.h"
#include "bed/row.h"

namespace {

using namespace bed;
namespace fs = std::filesystem;

const char* const kRootTable = "/dev/root / ext4 rw 0 0\n";
const char* const kTmpfsTable = "none " BED_ROOT " tmpfs rw 0 0\n";

// What a directory has to lie on to be claimed: this test needs one, and the root is all that a private host has.
std::string rootIsNotServed() {
    struct statfs info {};
    statfs("/", &info);
    const bool isServed = info.f_type == 0xEF53 || info.f_type == 0x58465342;
    return isServed ? "" : "the root of this machine is neither ext2, ext3, ext4 nor xfs";
}

int claim(Bed& bed, const char* name) {
    bed.outObjects = reinterpret_cast<znfi_objid**>(&bed);
    return bed.call().claim(Bed::objid(name), &bed.outObjects, &bed.outInt);
}

int exists(Bed& bed, const char* name) {
    return bed.call().check_node_existence(bed.node(name), &bed.outInt);
}

Trace claims(const Trace& inside = {}) {
    return entry("claim", method("claim", inside));
}

Trace looksFor(const std::string& name, const Trace& inside = {}) {
    return entry("check_node_existence", method("checkNodeExistence", {progress("name : " + name), inside}));
}

void handsBackNothing(Bed& bed) {
    EXPECT_EQ(bed.outObjects, nullptr);
    EXPECT_EQ(bed.outInt, 0);
}

std::function<void(Bed&)> outIs(int value) {
    return [value](Bed& bed) { EXPECT_EQ(bed.outInt, value); };
}

void makesFile(Bed&) {
    std::ofstream(BED_ROOT "/file") << "no directory";
}

void makesLink(Bed& bed) {
    makesFile(bed);
    if (!fs::is_symlink(BED_ROOT "/link")) {
        fs::create_symlink(BED_ROOT "/file", BED_ROOT "/link");
    }
}

const Row kClaim[] = {
    {.name = "a_mounted_directory_of_a_served_type",
     .host = {.mountTable = kRootTable},
     .skip = rootIsNotServed,
     .call = [](Bed& bed) { return claim(bed, "/"); },
     .status = ZFI_CLAIMED,
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_directory_on_an_unserved_type_is_not_claimed",
     .host = {.mountTable = kTmpfsTable},
     .call = [](Bed& bed) { return claim(bed, BED_ROOT); },
     .trace = claims(error("tarn_check_fs_type: sfs.f_type is not proper")),
     .after = handsBackNothing},
    {.name = "a_directory_that_is_not_in_the_mount_table",
     .host = {.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"},
     .call = [](Bed& bed) { return claim(bed, "/"); },
     .trace = claims(error("tarn_check_fs_type: device [/] is not mounted")),
     .after = handsBackNothing},
    {.name = "an_unreadable_mount_table_counts_as_not_mounted",
     .host = {.tableUnreadable = true},
     .call = [](Bed& bed) { return claim(bed, "/"); },
     .trace = claims(error("tarn_check_fs_type: device [/] is not mounted")),
     .after = handsBackNothing},
    {.name = "statfs_fails",
     .host = {.mountTable = kRootTable},
     .faults = {.noStatfs = true},
     .call = [](Bed& bed) { return claim(bed, "/"); },
     .trace = claims(error("tarn_check_fs_type: statfs() of [/] failed")),
     .after = handsBackNothing},
    {.name = "statvfs_fails",
     .host = {.mountTable = kRootTable},
     .faults = {.noStatvfs = true},
     .call = [](Bed& bed) { return claim(bed, "/"); },
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_regular_file_is_never_claimed",
     .host = {.mountTable = "/dev/sdb1 " BED_ROOT "/file xfs rw 0 0\n"},
     .before = makesFile,
     .call = [](Bed& bed) { return claim(bed, BED_ROOT "/file"); },
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_symbolic_link_to_a_file_is_never_claimed",
     .host = {.mountTable = "/dev/sdb1 " BED_ROOT "/link xfs rw 0 0\n"},
     .before = makesLink,
     .call = [](Bed& bed) { return claim(bed, BED_ROOT "/link"); },
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_symbolic_link_to_a_directory_is_looked_up_by_its_own_name",
     .host = {.mountTable = "/dev/sdb1 " BED_ROOT "/folder xfs rw 0 0\n"},
     .before =
         [](Bed&) {
             if (!fs::is_symlink(BED_ROOT "/folder")) {
                 fs::create_directory_symlink("/", BED_ROOT "/folder");
             }
         },
     .faults = {.statfsMagic = 0x58465342},
     .call = [](Bed& bed) { return claim(bed, BED_ROOT "/folder"); },
     .status = ZFI_CLAIMED,
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_missing_path_is_never_claimed",
     .host = {.mountTable = "/dev/sdb1 " BED_ROOT "/none xfs rw 0 0\n"},
     .call = [](Bed& bed) { return claim(bed, BED_ROOT "/none"); },
     .trace = claims(),
     .after = handsBackNothing},
    {.name = "a_null_object_is_not_claimed",
     .call = [](Bed& bed) { return bed.call().claim(nullptr, &bed.outObjects, &bed.outInt); },
     .trace = entry("claim", {}),
     .after = outIs(-77)},
    {.name = "a_null_list_pointer_is_not_claimed",
     .call = [](Bed& bed) { return bed.call().claim(Bed::objid("/"), nullptr, &bed.outInt); },
     .trace = entry("claim", {}),
     .after = outIs(-77)},
    {.name = "a_null_count_is_not_claimed_and_the_list_is_untouched",
     .call =
         [](Bed& bed) {
             bed.outObjects = reinterpret_cast<znfi_objid**>(&bed);
             return bed.call().claim(Bed::objid("/"), &bed.outObjects, nullptr);
         },
     .trace = entry("claim", {}),
     .after = [](Bed& bed) { EXPECT_EQ(static_cast<void*>(bed.outObjects), static_cast<void*>(&bed)); }},
};
CONTRACT_TABLE(Claim, kClaim);

// The magic of the superblock decides, whatever type the mount table names.
Row magic(const char* name, long value, int status) {
    return {.name = name,
            .host = {.mountTable = kRootTable},
            .faults = {.statfsMagic = value},
            .call = [](Bed& bed) { return claim(bed, "/"); },
            .status = status,
            .trace = claims(status == 0 ? Trace(error("tarn_check_fs_type: sfs.f_type is not proper")) : Trace()),
            .after = handsBackNothing};
}

const Row kMagic[] = {
    magic("ext", 0x137D, ZFI_CLAIMED),
    magic("below_the_ext2_range", 0xEF50, 0),
    magic("old_ext2", 0xEF51, ZFI_CLAIMED),
    magic("between_old_and_new_ext2", 0xEF52, ZFI_CLAIMED),
    magic("ext2_ext3_ext4", 0xEF53, ZFI_CLAIMED),
    magic("above_the_ext2_range", 0xEF54, 0),
    magic("nfs", 0x6969, ZFI_CLAIMED),
    magic("jffs2", 0x72B6, ZFI_CLAIMED),
    magic("jfs", 0x3153464A, ZFI_CLAIMED),
    magic("reiserfs", 0x52654973, ZFI_CLAIMED),
    magic("xfs", 0x58465342, ZFI_CLAIMED),
    magic("znfs", 0xA501FCF5, ZFI_CLAIMED),
    magic("btrfs", 0x9123683E, 0),
    magic("tmpfs", 0x01021994, 0),
};
CONTRACT_TABLE(ClaimByMagic, kMagic);

const Row kExistence[] = {
    {.name = "a_mounted_directory_of_a_served_type_exists",
     .host = {.mountTable = kRootTable},
     .skip = rootIsNotServed,
     .call = [](Bed& bed) { return exists(bed, "/"); },
     .trace = looksFor("/"),
     .after = outIs(1)},
    {.name = "a_directory_on_an_unserved_type_does_not",
     .host = {.mountTable = kTmpfsTable},
     .call = [](Bed& bed) { return exists(bed, BED_ROOT); },
     .trace = looksFor(BED_ROOT, error("tarn_check_fs_type: sfs.f_type is not proper")),
     .after = outIs(0)},
    {.name = "a_regular_file_does_not",
     .before = makesFile,
     .call = [](Bed& bed) { return exists(bed, BED_ROOT "/file"); },
     .trace = looksFor(BED_ROOT "/file"),
     .after = outIs(0)},
    {.name = "a_symbolic_link_to_a_file_does_not",
     .before = makesLink,
     .call = [](Bed& bed) { return exists(bed, BED_ROOT "/link"); },
     .trace = looksFor(BED_ROOT "/link"),
     .after = outIs(0)},
    {.name = "a_missing_path_does_not",
     .call = [](Bed& bed) { return exists(bed, BED_ROOT "/none"); },
     .trace = looksFor(BED_ROOT "/none"),
     .after = outIs(0)},
    {.name = "statvfs_fails",
     .host = {.mountTable = kRootTable},
     .faults = {.noStatvfs = true},
     .call = [](Bed& bed) { return exists(bed, "/"); },
     .trace = looksFor("/"),
     .after = outIs(0)},
};
CONTRACT_TABLE(CheckNodeExistence, kExistence);

const char* const kDevice = BED_DEVICES "/sdb1";
const std::string kProbe = std::string("/bin/mount --guess-fstype  ") + kDevice;
const Command kProbeCommand = {"/bin/mount", "--guess-fstype", kDevice};

void makesDevice(Bed&) {
    std::ofstream{kDevice};
}

int isParent(Bed& bed, const char* name) {
    return bed.call().is_parent_pgn(bed.text(name), &bed.outInt, 0);
}

Trace asks(const Trace& probe) {
    return entry("is_parent_pgn", method("isParentPgn", {method("isDeviceAccessible"), method("getFSType", probe)}));
}

Trace answers(const std::string& output) {
    return asks(
        {progress("Command : " + kProbe), progress("fstype cmd [" + kProbe + "] returned with  '" + output + "'")});
}

Row typeIs(const char* name, const char* printed, const char* joined, int result) {
    return {.name = name,
            .host = {.answers = {{.command = "mount", .prints = printed}}},
            .before = makesDevice,
            .call = [](Bed& bed) { return isParent(bed, kDevice); },
            .trace = answers(joined),
            .commands = {kProbeCommand},
            .after = outIs(result)};
}

const Row kParent[] = {
    typeIs("ext2_is_a_child", "ext2\n", "ext2", 2),
    typeIs("ext3_is_a_child", "ext3\n", "ext3", 2),
    typeIs("jfs_is_a_child", "jfs\n", "jfs", 2),
    typeIs("reiserfs_is_a_child", "reiserfs\n", "reiserfs", 2),
    typeIs("xfs_is_a_child", "xfs\n", "xfs", 2),
    typeIs("ext4_is_no_child", "ext4\n", "ext4", 0),
    typeIs("nfs_is_no_child", "nfs\n", "nfs", 0),
    typeIs("capitals_are_another_type", "XFS\n", "XFS", 0),
    typeIs("only_the_first_line_counts", "xfs\nmore\n", "xfsmore", 2),
    typeIs("trailing_blanks_are_removed", "xfs \t\r\n", "xfs \t\r", 2),
    {.name = "a_probe_that_fails_yields_no_type",
     .host = {.answers = {{.command = "mount", .exitStatus = 1, .prints = "mount: unrecognized\noption\n"}}},
     .before = makesDevice,
     .call = [](Bed& bed) { return isParent(bed, kDevice); },
     .trace = asks({progress("Command : " + kProbe),
                    error("Finding fstype cmd [" + kProbe +
                          "] failed with messge 'mount: unrecognizedoption' and error code 11.")}),
     .commands = {kProbeCommand},
     .after = outIs(0)},
    {.name = "a_probe_that_does_not_exist",
     .host = {.missingCommands = {"mount"}},
     .before = makesDevice,
     .call = [](Bed& bed) { return isParent(bed, kDevice); },
     .trace = asks({progress("Command : " + kProbe),
                    error("Finding fstype cmd [" + kProbe + "] failed with messge '' and error code 7.")}),
     .after = outIs(0)},
    {.name = "an_unidentified_device_takes_three_attempts_and_six_seconds",
     .before = makesDevice,
     .call = [](Bed& bed) { return isParent(bed, kDevice); },
     .trace = asks({progress("Command : " + kProbe), progress("Command : " + kProbe), progress("Command : " + kProbe),
                    warning("fstype cmd [" + kProbe + "] returned with no output.")}),
     .commands = {kProbeCommand, kProbeCommand, kProbeCommand},
     .waits = {.sleeps = {2, 2, 2}},
     .after = outIs(0)},
    {.name = "a_type_that_appears_at_the_second_attempt",
     .host = {.answers = {{.command = "mount", .nth = 2, .prints = "jfs\n"}}},
     .before = makesDevice,
     .call = [](Bed& bed) { return isParent(bed, kDevice); },
     .trace = asks({progress("Command : " + kProbe), progress("Command : " + kProbe),
                    progress("fstype cmd [" + kProbe + "] returned with  'jfs'")}),
     .commands = {kProbeCommand, kProbeCommand},
     .waits = {.sleeps = {2}},
     .after = outIs(2)},
    {.name = "a_name_outside_dev_is_inaccessible_at_once_and_leaves_the_result",
     .before = makesFile,
     .call = [](Bed& bed) { return isParent(bed, BED_ROOT "/file"); },
     .trace = entry("is_parent_pgn", method("isParentPgn", method("isDeviceAccessible"))),
     .after = outIs(-77)},
    {.name = "a_missing_device_is_inaccessible_after_eight_seconds",
     .call = [](Bed& bed) { return isParent(bed, BED_DEVICES "/none"); },
     .trace = entry("is_parent_pgn", method("isParentPgn", method("isDeviceAccessible"))),
     .waits = {.sleeps = {1, 1, 1, 1, 1, 1, 1, 1}},
     .after = outIs(-77)},
    {.name = "a_device_that_appears_in_the_eighth_pause_is_opened_at_the_ninth_attempt",
     .host = {.answers = {{.command = "mount", .prints = "xfs\n"}}},
     .call =
         [](Bed& bed) {
             fs::remove(kDevice);
             atSleep(8, [] { std::ofstream{kDevice}; });
             return isParent(bed, kDevice);
         },
     .trace = answers("xfs"),
     .commands = {kProbeCommand},
     .waits = {.sleeps = {1, 1, 1, 1, 1, 1, 1, 1}},
     .after = outIs(2)},
    {.name = "a_device_that_appears_is_asked_at_once",
     .host = {.answers = {{.command = "mount", .prints = "xfs\n"}}},
     .call =
         [](Bed& bed) {
             fs::remove(kDevice);
             atSleep(3, [] { std::ofstream{kDevice}; });
             return isParent(bed, kDevice);
         },
     .trace = answers("xfs"),
     .commands = {kProbeCommand},
     .waits = {.sleeps = {1, 1, 1}},
     .after = outIs(2)},
    {.name = "null_arguments_are_refused",
     .call =
         [](Bed& bed) {
             EXPECT_EQ(bed.call().is_parent_pgn(nullptr, &bed.outInt, 0), ZFI_ERR_INVALID_ARGUMENT);
             return bed.call().is_parent_pgn(bed.text(kDevice), nullptr, 0);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = {entry("is_parent_pgn", method("isParentPgn")), entry("is_parent_pgn", method("isParentPgn"))},
     .after = outIs(-77)},
};
CONTRACT_TABLE(IsParentPgn, kParent);

}  // namespace
