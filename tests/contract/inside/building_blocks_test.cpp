// The plug-in's building blocks that no entry point reaches in this form: the same objects that the shipped library is
// linked from, on the private host.
#include <gtest/gtest.h>

#include <csignal>

#include "bed/bed.h"
#include "bed/layout.h"
#include "cfierrormanager.h"
#include "cfimessage.h"
#include "cfisingleton.h"
#include "format_option.h"
#include "mount_table.h"
#include "tarn_plugin.h"

namespace {

using namespace bed;

class BuildingBlocks : public testing::Test {
  protected:
    void SetUp() override {
        if (!reasonToSkip().empty()) {
            GTEST_SKIP() << reasonToSkip();
        }
        clearFaults();
        shapeHost({});
        resetWaits();
        recordTrace();
    }
    void TearDown() override { znfi_trace_sink(nullptr, nullptr); }

    // What was done: the trace, then the commands.
    static void expectDone(const Trace& trace, const Commands& commands) {
        EXPECT_EQ(takeTrace().render(), trace.render());
        EXPECT_EQ(render(commandsRun()), render(commands));
    }

    CTARNPlugin plugin_;
};

std::string failure(const std::string& command, const std::string& output) {
    return "command '" + command + "' failed with message '" + output + "'.";
}

TEST_F(BuildingBlocks, mount_with_empty_options_has_no_option_part) {
    plugin_.mount("/data", "/dev/sdb1", "");
    expectDone(primitive("mount", "/bin/mount  \"/dev/sdb1\" \"/data\""), {{"/bin/mount", "/dev/sdb1", "/data"}});
}

TEST_F(BuildingBlocks, mount_with_options_puts_them_before_the_device) {
    plugin_.mount("/my data", "/dev/sdb1", "ro,nouuid");
    expectDone(primitive("mount", "/bin/mount  -o ro,nouuid \"/dev/sdb1\" \"/my data\""),
               {{"/bin/mount", "-o", "ro,nouuid", "/dev/sdb1", "/my data"}});
}

TEST_F(BuildingBlocks, a_primitive_that_fails_throws_the_runners_record) {
    shapeHost({.answers = {{.command = "mount", .exitStatus = 32, .prints = "two\nlines\n"}}});
    const std::string command = "/bin/mount  \"/dev/sdb1\" \"/data\"";
    try {
        plugin_.mount("/data", "/dev/sdb1", "");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const EFiExecPipe& thrown) {
        EXPECT_EQ(thrown.message, command);
        EXPECT_EQ(thrown.wideMessage, std::wstring(command.begin(), command.end()));
        EXPECT_EQ(thrown.code, ZFI_EXEC_PIPE_CMD_FAILED);
        EXPECT_EQ(thrown.exitStatus, 32);
    }
    expectDone(method("mount", {progress("Command : " + command), error(failure(command, "twolines"))}),
               {{"/bin/mount", "/dev/sdb1", "/data"}});
}

TEST_F(BuildingBlocks, umount_quotes_its_path) {
    plugin_.umount("/my data");
    expectDone(primitive("umount", "/bin/umount  \"/my data\""), {{"/bin/umount", "/my data"}});
}

TEST_F(BuildingBlocks, remove_mount_point_passes_its_path_bare) {
    plugin_.removeMntPoint("/data_alt");
    expectDone(primitive("removeMntPoint", "/bin/rmdir  /data_alt"), {{"/bin/rmdir", "/data_alt"}});
}

TEST_F(BuildingBlocks, remove_mount_point_of_a_path_with_a_blank_is_split_and_fails) {
    shapeHost({.answers = {{.command = "rmdir", .exitStatus = 1, .prints = "no such directory\n"}}});
    EXPECT_THROW(plugin_.removeMntPoint("/my data"), EFiExecPipe);
    expectDone(method("removeMntPoint", {progress("Command : /bin/rmdir  /my data"),
                                         error(failure("/bin/rmdir  /my data", "no such directory"))}),
               {{"/bin/rmdir", "/my", "data"}});
}

TEST_F(BuildingBlocks, an_empty_device_gives_a_dump_that_begins_with_the_mount_point) {
    plugin_.dumpMountInformation("/none", "");
    expectDone(
        method(
            "dumpMountInformation",
            {progress("dumpInformationMount = Dumping stat information for mount point /none\n"
                      "Stat information failed for the mount point /nonewith error code 2\n"),
             progress("dumpInformationFuser: FUSER_CMD = /sbin/fuser /none"),
             progress("dumpInformationFuser = \nDumping fuser data for mountpoint using command /sbin/fuser /none\n"),
             progress("dumpInformationMountCmd: MOUNT_CMD = /bin/mount "),
             progress("dumpInformationMountCmd = \nDumping information about mounted devices using command "
                      "/bin/mount \n")}),
        {{"/sbin/fuser", "/none"}, {"/bin/mount"}});
}

TEST_F(BuildingBlocks, the_fixed_option_of_mkfs_is_a_matter_of_the_whole_type) {
    for (const char* type : {"xfs", "jfs", "reiserfs"}) {
        zfi_tstring option = "from before";
        EXPECT_EQ(get_mkfs_option(type, option), 0);
        EXPECT_STREQ(option.c_str(), "-f") << type;
    }
    for (const char* type : {"ext2", "ext3", "XFS", "Jfs", "xfs2", "xf", ""}) {
        zfi_tstring option = "from before";
        EXPECT_EQ(get_mkfs_option(type, option), 0);
        EXPECT_STREQ(option.c_str(), "from before") << type;
    }
}

// The copies are not checked: what could not be copied comes back as null, with status 0.
TEST_F(BuildingBlocks, a_table_entry_that_cannot_be_copied_is_null) {
    if (!canRefuseMemory()) {
        GTEST_SKIP() << "a sanitizer owns malloc";
    }
    shapeHost({.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n"});
    MountText type;
    MountText device;
    MountText options;
    MountText subObject;
    setFaults({.noCopyOf = "/dev/sdb1"});
    EXPECT_EQ(tarn_get_mntent_value("/data", type.out(), device.out(), options.out()), ZFI_OK);
    EXPECT_EQ(tarn_getsubobj("/data", subObject.out()), ZFI_OK);
    clearFaults();
    EXPECT_FALSE(device);
    EXPECT_FALSE(subObject);
    EXPECT_STREQ(type.text(), "ext3");
    EXPECT_STREQ(options.text(), "rw");
    expectDone({}, {});
}

TEST_F(BuildingBlocks, look_ups_that_find_nothing_write_nothing) {
    for (const bool isUnreadable : {false, true}) {
        shapeHost({.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n", .tableUnreadable = isUnreadable});
        const int expected = isUnreadable ? ZFI_ERR_MOUNT_TABLE : ZFI_ERR_NOT_MOUNTED;
        char untouched[] = "untouched";
        char* texts[] = {untouched, untouched, untouched};
        int flag = -77;
        EXPECT_EQ(tarn_getsubobj("/none", &texts[0]), expected);
        EXPECT_EQ(tarn_get_mntent_value("/none", &texts[0], &texts[1], &texts[2]), expected);
        EXPECT_EQ(tarn_getmnt("/dev/none", &texts[0], &texts[1], &texts[2]), expected);
        EXPECT_EQ(tarn_get_mntent("/none", &flag), isUnreadable ? ZFI_ERR_MOUNT_TABLE : ZFI_OK);
        EXPECT_EQ(getnfsvers("/none", &flag), 0);
        EXPECT_EQ(tarn_check_fs_type("/none"), -1);
        EXPECT_EQ(flag, -77);
        for (const char* text : texts) {
            EXPECT_EQ(text, untouched);
        }
    }
    takeTrace();
}

TEST_F(BuildingBlocks, the_mount_status_is_one_of_three) {
    shapeHost({.mountTable = "/dev/sdb1 /data ext3 rw 0 0\n"});
    EXPECT_EQ(plugin_.getMountStatus("/none"), 1);
    EXPECT_EQ(plugin_.getMountStatus("/data"), 2);
    shapeHost({.tableUnreadable = true});
    EXPECT_EQ(plugin_.getMountStatus("/data"), 3);
    expectDone({method("getMountStatus"), method("getMountStatus"),
                method("getMountStatus", {error("tarn_getsubobj: setmntent() of mnttab file failed"),
                                          error("CTARNPlugin::getMountStatus: error from tarn_getsubobj")})},
               {});
}

// ---- executeCommand -----------------------------------------------------------------------------------------

class ExecuteCommand : public BuildingBlocks {
  protected:
    int run(const std::string& command, int timeout = 600) {
        return CTARNPlugin::executeCommand(command, output_, exitStatus_, timeout);
    }
    std::vector<std::string> output_ = {"from before"};
    int exitStatus_ = -77;
};

TEST_F(ExecuteCommand, a_silent_success_leaves_output_and_exit_status) {
    EXPECT_EQ(run("/bin/mount"), ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(output_, (std::vector<std::string>{"from before"}));
    EXPECT_EQ(exitStatus_, -77);
    expectDone(executes("/bin/mount"), {{"/bin/mount"}});
}

TEST_F(ExecuteCommand, lines_are_appended_in_order) {
    shapeHost({.answers = {{.command = "mount", .prints = "one\n\nthree"}}});
    EXPECT_EQ(run("/bin/mount"), ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(output_, (std::vector<std::string>{"from before", "one", "", "three"}));
}

TEST_F(ExecuteCommand, exit_1_is_result_11_and_exit_status_1) {
    shapeHost({.answers = {{.command = "mount", .exitStatus = 1}}});
    EXPECT_EQ(run("/bin/mount"), ZFI_EXEC_PIPE_CMD_FAILED);
    EXPECT_EQ(exitStatus_, 1);
    expectDone(executes("/bin/mount", {warning("executeCommand - Exec Pipe failed with error code [11]"),
                                       warning("executeCommand - Command [/bin/mount] failed with error code [1]")}),
               {{"/bin/mount"}});
}

TEST_F(ExecuteCommand, a_command_beyond_its_time_is_result_5_and_the_exit_status_stays) {
    shapeHost({.answers = {{.command = "mount", .hangs = true}}});
    EXPECT_EQ(run("/bin/mount", 17), ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_EQ(exitStatus_, -77);
    EXPECT_EQ(waits().limits, (std::vector<int>{17}));
    expectDone(executes("/bin/mount", {warning("executeCommand - Exec Pipe failed with error code [5]"),
                                       warning("executeCommand - Command [/bin/mount] has timmedout")}),
               {{"/bin/mount"}});
}

TEST_F(ExecuteCommand, a_missing_program_is_result_7_and_the_generic_line) {
    EXPECT_EQ(run("/bin/tarnfi-test-none"), ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST);
    EXPECT_EQ(exitStatus_, -77);
    expectDone(executes("/bin/tarnfi-test-none", warning("executeCommand - Exec Pipe failed with error code [7]")), {});
}

TEST_F(ExecuteCommand, a_killed_command_is_result_12_and_the_generic_line) {
    shapeHost({.answers = {{.command = "mount", .endsBySignal = 9}}});
    EXPECT_EQ(run("/bin/mount"), ZFI_EXEC_PIPE_CMD_KILLED);
    EXPECT_EQ(exitStatus_, -77);
    expectDone(executes("/bin/mount", warning("executeCommand - Exec Pipe failed with error code [12]")),
               {{"/bin/mount"}});
}

TEST_F(ExecuteCommand, a_program_that_may_not_be_executed_is_result_4_and_the_generic_line) {
    EXPECT_EQ(run(BED_MOUNT_TABLE), ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED);
    EXPECT_EQ(exitStatus_, -77);
    expectDone(executes(BED_MOUNT_TABLE, warning("executeCommand - Exec Pipe failed with error code [4]")), {});
}

TEST_F(ExecuteCommand, a_status_that_is_lost_is_result_13_and_the_generic_line) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("/bin/mount"), ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED);
    std::signal(SIGCHLD, before);
    EXPECT_EQ(exitStatus_, -77);
    expectDone(executes("/bin/mount", warning("executeCommand - Exec Pipe failed with error code [13]")),
               {{"/bin/mount"}});
}

TEST_F(ExecuteCommand, an_unbalanced_quote_is_result_6_and_runs_nothing) {
    EXPECT_EQ(run("/bin/mount \"half"), ZFI_EXEC_PIPE_PARSE_COMMAND_FAILED);
    expectDone(executes("/bin/mount \"half", warning("executeCommand - Exec Pipe failed with error code [6]")), {});
}

// ---- Private data -------------------------------------------------------------------------------------------

TEST_F(BuildingBlocks, a_setter_with_a_null_text_keeps_the_value_and_opens_its_scope) {
    CFiPrivateDataConcreteFactory<CTARNPrivData> factory;
    factory.registerTraceLog(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false));
    zfi_domain node{};
    node.objid = Bed::objid("/data");
    auto* data = dynamic_cast<CTARNPrivData*>(factory.allocate(&node, false).get());
    ASSERT_NE(data, nullptr);
    const std::vector<void (CTARNPrivData::*)(const char*)> setters = {
        &CTARNPrivData::setDevName, &CTARNPrivData::setAltName, &CTARNPrivData::setFsType, &CTARNPrivData::setMntOpts,
        &CTARNPrivData::setFsVersion};
    for (const auto setter : setters) {
        (data->*setter)("value");
        (data->*setter)(nullptr);
    }
    for (const std::string& value : {data->devName, data->altName, data->fsType, data->mntOpts, data->fsVersion}) {
        EXPECT_EQ(value, "value");
    }
    Trace scopes;
    for (const char* name : {"setDevName", "setAltName", "setFsType", "setMntOpts", "setFsVersion"}) {
        scopes = {scopes, method(name), method(name)};
    }
    expectDone(scopes, {});
    factory.deallocate(&node);
}

// Counts the look-ups.
class CountingFactory : public CFiPrivateDataConcreteFactory<CTARNPrivData> {
  public:
    CFiSmartPtr<CFiPrivateData> access(zfi_domain* domain) override {
        ++lookUps;
        return CFiPrivateDataConcreteFactory::access(domain);
    }
    int lookUps = 0;
};

TEST_F(BuildingBlocks, build_alttree_looks_its_node_up_before_it_checks_its_arguments) {
    const auto factory = makeCounted<CountingFactory>();
    const auto manager = makeCounted<CFiPrivateDataManager>();
    manager->registerFactory(factory);
    plugin_.registerPrivateDataManager(manager);
    zfi_domain node{};
    node.objid = Bed::objid("/data");
    znfi_objid* snapshots[] = {Bed::objid("/dev/sdc1")};
    znfi_objid* altObject = nullptr;
    EXPECT_EQ(plugin_.buildAltTree(&node, nullptr, nullptr, snapshots, 1, &altObject), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(factory->lookUps, 1);
    expectDone(method("buildAltTree", progress("Exiting buildAltTree, invalid session/fid\n")), {});
}

TEST_F(BuildingBlocks, only_the_first_of_several_sub_objects_is_mounted) {
    const auto factory = makeCounted<CountingFactory>();
    const auto manager = makeCounted<CFiPrivateDataManager>();
    manager->registerFactory(factory);
    plugin_.registerPrivateDataManager(manager);
    zfi_domain node{};
    node.objid = Bed::objid("/data");
    const auto data = factory->allocate(&node, false);
    data->addSubObject(Bed::objid("/dev/sdb1"));
    data->addSubObject(Bed::objid("/dev/sdc1"));
    EXPECT_EQ(plugin_.cacheDisable(&node, 0), ZFI_OK);
    EXPECT_EQ(plugin_.cacheEnable(&node, 1), ZFI_OK);
    EXPECT_EQ(plugin_.online(nullptr, &node, ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP), ZFI_OK);
    expectDone({method("cacheDisable", progress("Command : /bin/mount -o remount,sync \"/dev/sdb1\" \"/data\"")),
                method("cacheEnable", progress("Command : /bin/mount -o remount \"/dev/sdb1\" \"/data\"")),
                method("online", {error("tarn_getmnt: device [/dev/sdb1] is not mounted"),
                                  primitive("createMntPoint", "/bin/mkdir -p  \"/data\""),
                                  progress("Command : /bin/mount  -o  \"/dev/sdb1\" \"/data\"")})},
               {{"/bin/mount", "-o", "remount,sync", "/dev/sdb1", "/data"},
                {"/bin/mount", "-o", "remount", "/dev/sdb1", "/data"},
                {"/bin/mkdir", "-p", "/data"},
                {"/bin/mount", "-o", "/dev/sdb1", "/data"}});
    factory->deallocate(&node);
}

TEST_F(BuildingBlocks, null_data_in_a_blob_changes_nothing_and_says_nothing) {
    CTARNPrivData data(Bed::objid("/data"), false);
    data.devName = "/dev/sdb1";
    zfi_blob blob{10, nullptr, ZFI_BLOB_TEXT, 0};
    EXPECT_EQ(data.setNodeState(&blob), 0);
    EXPECT_EQ(data.devName, "/dev/sdb1");
    expectDone({}, {});
}

TEST_F(BuildingBlocks, private_data_before_init_is_an_error_that_names_its_function) {
    const auto errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false);
    errors->clear();
    zfi_domain node{};
    node.objid = Bed::objid("/data");
    zfi_blob blob{};
    EXPECT_EQ(plugin_.processProviderState(&node, &blob, ZFI_STATE_SAVE), ZFI_ERR_FAILED);
    const auto messages = errors->newestFirst();
    errors->clear();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0]->getMessageId(), "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
    const auto& arguments = messages[0]->getArguments();
    ASSERT_EQ(arguments.size(), 4U);
    const char* const texts[] = {"no private data can be made before init.", "allocatePrivateData",
                                 "providers/tarn/tarn_plugin"};
    for (size_t i = 0; i < std::size(texts); ++i) {
        std::string text;
        arguments[i].getString().toUTF8String(text);
        EXPECT_EQ(text, texts[i]);
    }
}

}  // namespace
