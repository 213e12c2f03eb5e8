// What a method does with an exception of each kind: one message, its failure status, its scopes closed; and what it
// does with any other.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bed/access_rows.h"
#include "bed/bed.h"
#include "bed/layout.h"
#include "cfierror.h"
#include "cfiexecpipe.h"
#include "exceptions/raising_runtime.h"

namespace {

using namespace bed;

constexpr const char* kSource = "providers/tarn/tarn_plugin";

struct Kind {
    const char* name;
    void (*raise)();
    Message message;
};

const Kind kKinds[] = {
    {"exec_pipe",
     [] {
         throw EFiExecPipe(ZfiExecPipeErrorRecord{"the command", L"the command", ZFI_EXEC_PIPE_CMD_KILLED, 0});
     },
     failedCommand("ZFI_EXEC_PIPE_CMD_KILLED", "the command")},
    {"exec_pipe_with_a_code_outside_the_table",
     [] {
         throw EFiExecPipe(ZfiExecPipeErrorRecord{"the command", L"the command", 99, 0});
     },
     failedCommand("unknown code", "the command")},
    {"framework_error",
     [] { throw CFiError(7, "the text", "the file", 99, "the function"); },
     {"MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", {"the text", "the function", "the file", "#"}}},
    {"unique_disk_id",
     [] { throw CFiUdidException("the id", 5); },
     {"MSG_ERROR_UDID_PARSING_EXCEPTION", {"the id", "#"}}},
    {"runtime_error",
     [] { throw std::range_error("what it says"); },
     {"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", {"std::runtime_error", "what it says", kSource, "#"}}},
    {"integer", [] { throw 42; }, {"MSG_ERROR_UNHANDLED_INT_EXCEPTION", {"42", kSource, "#"}}},
};

enum class Where { trace, runner, runtime, catalog };

struct Method {
    const char* name;
    Where where;
    int status;
    std::function<void(Bed&)> before;
    std::function<int(Bed&)> call;
};

void node(Bed& bed) {
    bed.restored("/data", {.device = "/dev/sdb1", .type = "xfs"}, {"/data"});
}
void mounted(Bed& bed) {
    bed.initialised("/data", "/dev/sdb1 /data xfs rw 0 0\n");
}

void offlineNode(Bed& bed) {
    node(bed);
    bed.lastNode()->state = ZFI_STATE_OFFLINE;
    addNodeToAccessList(bed, bed.lastNode(), {"/dev/sdb1"});
}

void device(Bed&) {
    std::ofstream(BED_DEVICES "/sdb1");
}

const Method kMethods[] = {
    {"init", Where::catalog, 6, nullptr,
     [](Bed& bed) {
         zfi_version version{};
         return bed.call().init(&bed.receiver().init, &version, "fim");
     }},
    {"claim", Where::trace, 0, nullptr,
     [](Bed& bed) { return bed.call().claim(Bed::objid("/"), &bed.outObjects, &bed.outInt); }},
    {"initNode", Where::trace, 6, nullptr,
     [](Bed& bed) { return bed.call().init_node(bed.node("/data"), nullptr, 0, nullptr); }},
    {"checkNodeExistence", Where::trace, 6, nullptr,
     [](Bed& bed) { return bed.call().check_node_existence(bed.node("/"), &bed.outInt); }},
    {"isParentPgn", Where::runner, 6, device,
     [](Bed& bed) { return bed.call().is_parent_pgn(bed.text(BED_DEVICES "/sdb1"), &bed.outInt, 0); }},
    {"quiesce", Where::runner, 6, mounted,
     [](Bed& bed) { return bed.call().quiesce(bed.lastNode()->quiesce, nullptr, 0, nullptr); }},
    {"unquiesce", Where::runner, 0, mounted,
     [](Bed& bed) {
         bed.call().unquiesce(bed.lastNode()->quiesce, nullptr, 0);
         return 0;
     }},
    {"cacheDisable", Where::runner, 6, mounted, [](Bed& bed) { return bed.call().cache_disable(bed.lastNode()); }},
    {"cacheEnable", Where::runner, 0, mounted,
     [](Bed& bed) {
         bed.call().cache_enable(bed.lastNode());
         return 0;
     }},
    {"enableAccess", Where::trace, ZFI_ERR_MOUNT_FAILED, offlineNode,
     [](Bed& bed) { return bed.call().enable_access(&bed.accessList.front(), 0, 0, 0); }},
    {"disableAccess", Where::trace, 6, [](Bed& bed) { addToAccessList(bed, "/data", {"/dev/sdb1"}); },
     [](Bed& bed) { return bed.call().disable_access(&bed.accessList.front(), 0); }},
    {"buildAltTree", Where::trace, 6, node,
     [](Bed& bed) {
         znfi_objid* devices[] = {Bed::objid("/dev/sdc1")};
         return bed.call().build_alttree(bed.lastNode(), bed.text("fid"), nullptr, devices, 1, &bed.outObject);
     }},
    {"importTreeNode", Where::trace, 6, node,
     [](Bed& bed) {
         znfi_objid* devices[] = {Bed::objid("/dev/sdc1")};
         return bed.call().import_tree(bed.lastNode(), nullptr, devices, 1, &bed.outObject);
     }},
    {"initAltNode", Where::trace, 6, nullptr,
     [](Bed& bed) { return bed.call().init_altnode(nullptr, nullptr, bed.node("/data_alt")); }},
    {"reAccessAltNode", Where::trace, 6, nullptr,
     [](Bed& bed) {
         return bed.call().reaccess_altnode(nullptr, Bed::objid("/media/none"), nullptr, nullptr, nullptr, nullptr, 0,
                                            ZFI_INTENT_READ);
     }},
    {"deportTree", Where::trace, 6, nullptr,
     [](Bed& bed) {
         bed.access.imported = 1;
         return bed.call().deport_tree(bed.node("/data"), bed.node("/data_alt"), &bed.access);
     }},
    {"online", Where::trace, 6, node,
     [](Bed& bed) { return bed.call().online(nullptr, bed.lastNode(), ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP); }},
    {"dispose", Where::trace, 6, node,
     [](Bed& bed) { return bed.call().dispose(nullptr, bed.lastNode(), nullptr, ZFI_DISPOSITION_REMOVE); }},
    {"format", Where::runner, 3, nullptr,
     [](Bed& bed) {
         char* devices[] = {bed.text("/dev/sdc1")};
         return bed.call().format(devices, 1, nullptr, bed.text("xfs"), nullptr, 1, nullptr, nullptr);
     }},
    {"onlineResource", Where::trace, 6, nullptr,
     [](Bed& bed) {
         char* devices[] = {bed.text("/dev/sdc1")};
         return bed.call().online_resource(devices, 1, bed.text("/data"), nullptr, nullptr, nullptr, 0, &bed.outPaths,
                                           &bed.outInt);
     }},
    {"getProviderInfo", Where::runtime, 6, nullptr,
     [](Bed& bed) {
         zfi_provider_list* list = nullptr;
         return bed.call().get_provider_info(&list);
     }},
    {"processProviderState", Where::runtime, 6, node,
     [](Bed& bed) { return bed.call().process_providerstate(bed.lastNode(), &bed.blob, ZFI_STATE_SAVE); }},
};

void arm(Where where, std::function<void()> raise) {
    switch (where) {
        case Where::trace:
            raising::raiseInTrace(std::move(raise));
            break;
        case Where::runtime:
            setFaults({.raise = std::move(raise)});
            break;
        case Where::runner:
            raising::raiseInRunner(std::move(raise));
            break;
        case Where::catalog:
            raising::raiseInCatalog(std::move(raise));
            break;
    }
}

int openScopes() {
    int open = 0;
    int scopes = 0;
    const Trace trace = takeTrace();
    for (const Line& line : trace.lines()) {
        const bool enters = line.text.rfind("Entering Function", 0) == 0;
        open += enters;
        scopes += enters;
        open -= line.text.rfind("Exiting Function", 0) == 0;
    }
    EXPECT_GE(scopes, 1);
    return open;
}

void checkCaught(const Method& method, const Kind& kind) {
    Bed bed;
    if (method.before) {
        method.before(bed);
    }
    bed.begin({.tableUnreadable = true});  // so that every method has something to say
    bool isRaised = false;
    arm(method.where, [&] {
        isRaised = true;
        kind.raise();
    });
    EXPECT_EQ(method.call(bed), method.status);
    clearFaults();
    EXPECT_TRUE(isRaised);
    EXPECT_EQ(openScopes(), 0);
    Messages wanted = {kind.message};
    if (std::string(method.name) == "init") {
        wanted.insert(wanted.begin(), {"MSG_ERROR_INITIALIZATION_FAILED", {}, ZFI_SEVERITY_CRITICAL});
    }
    EXPECT_EQ(renderMessages(bed.call()), render(wanted));
    EXPECT_EQ(bed.receiver().severities.size(), wanted.size());
    EXPECT_FALSE(bed.receiver().hadEmptyText);
}

void checkEscapes(const Method& method) {
    Bed bed;
    if (method.before) {
        method.before(bed);
    }
    bed.begin({.tableUnreadable = true});
    arm(method.where, [] { throw "no kind of ours"; });
    EXPECT_THROW(method.call(bed), const char*);
    clearFaults();
    EXPECT_EQ(openScopes(), 0);
    EXPECT_EQ(renderMessages(bed.call()), "");
}

class ExceptionTest : public testing::Test {
  public:
    explicit ExceptionTest(std::function<void()> body) : body_(std::move(body)) {}
    void TestBody() override {
        if (!reasonToSkip().empty()) {
            GTEST_SKIP() << reasonToSkip();
        }
        body_();
    }

  private:
    std::function<void()> body_;
};

void add(const std::string& suite, const std::string& name, std::function<void()> body) {
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [body] { return new ExceptionTest(body); });
}

[[maybe_unused]] const bool registered = [] {
    for (const Method& method : kMethods) {
        for (const Kind& kind : kKinds) {
            add("Exceptions", std::string(method.name) + "_converts_" + kind.name,
                [&method, &kind] { checkCaught(method, kind); });
        }
        add("Exceptions", std::string(method.name) + "_lets_any_other_kind_pass", [&method] { checkEscapes(method); });
    }
    return true;
}();

// 1070 stands for a umount that ran and failed, not for what was thrown on the way to it.
TEST(OnlineStatus, an_exception_of_the_runner_itself_is_6) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    mounted(bed);
    bed.begin({.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"});
    raising::raiseInRunner([] { throw 1; });
    EXPECT_EQ(bed.call().online(nullptr, bed.lastNode(), ZFI_ONLINE_UMOUNT, ZFI_DISPOSITION_REMOVE), ZFI_ERR_FAILED);
}

// The dump of the host fails nothing by itself: only what the runner throws gets out of it.
TEST(DiagnosticsEscape, an_exception_of_the_runner_ends_the_operation) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    addToAccessList(bed, "/data", {"/dev/sdb1"});
    bed.begin({.mountTable = "/dev/sdb1 /data xfs rw 0 0\n", .answers = {{.command = "umount", .exitStatus = 1}}});
    raising::raiseInRunner([] { throw std::runtime_error("no memory"); }, "/sbin/fuser /data");
    EXPECT_EQ(bed.call().disable_access(&bed.accessList.front(), 0), ZFI_ERR_FAILED);
    EXPECT_EQ(openScopes(), 0);
    EXPECT_EQ(
        renderMessages(bed.call()),
        render(Messages{{"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", {"std::runtime_error", "no memory", kSource, "#"}}}));
    EXPECT_EQ(bed.accessList.front().node->state & ZFI_STATE_OFFLINE, 0U);
}

TEST(Reporting, what_is_thrown_while_a_message_is_pushed_leaves_the_method) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.begin({});
    raising::raiseInPush([] { throw std::runtime_error("no room for a message"); });
    EXPECT_THROW(bed.call().init_altnode(nullptr, nullptr, nullptr), std::runtime_error);
    EXPECT_EQ(openScopes(), 0);
    EXPECT_EQ(renderMessages(bed.call()), "");
}

TEST(SecondInit, registers_a_second_catalogue_factory) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    raising::takeRegistrations();
    zfi_version version{};
    EXPECT_EQ(bed.call().init(&bed.receiver().init, &version, "fim"), ZFI_OK);
    EXPECT_EQ(raising::takeRegistrations(), 1);
    EXPECT_EQ(bed.call().init(&bed.receiver().init, &version, "fim"), ZFI_OK);
    EXPECT_EQ(raising::takeRegistrations(), 1);
}

TEST(InitAfterFailure, may_be_repeated) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    zfi_version version{};
    raising::raiseInCatalog([] { throw 1; });
    EXPECT_EQ(bed.call().init(&bed.receiver().init, &version, "fim"), ZFI_ERR_FAILED);
    EXPECT_EQ(bed.call().init(&bed.receiver().init, &version, "fim"), ZFI_OK);
    node(bed);
    EXPECT_NE(bed.stateOf(bed.lastNode()), "");
}

// ---- What the runner answers --------------------------------------------------------------------------------

// Codes of a command that was not started: the wrapper says them and no more.
TEST(RunnerAnswers, a_command_that_was_not_started_is_the_generic_line) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    for (const int code : {1, 2, 3, 4, 6, 7, 8, 9, 10, 13}) {
        Bed bed;
        addToAccessList(bed, "/data", {"/dev/sdb1"});
        bed.begin({.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"});
        raising::answerInRunner(code);
        EXPECT_EQ(bed.call().disable_access(&bed.accessList.front(), 0), ZFI_ERR_UMOUNT_FAILED) << code;
        const std::string number = std::to_string(code);
        std::string said;
        const Trace trace = takeTrace();
        for (const Line& line : trace.lines()) {
            said += line.text.find(" failed with error code [") != std::string::npos
                        ? std::to_string(line.level) + " " + line.text + "\n"
                        : "";
            EXPECT_EQ(line.text.find("timmedout"), std::string::npos) << code;
        }
        EXPECT_EQ(said, "2 executeCommand - Exec Pipe failed with error code [" + number +
                            "]\n2 Exec Pipe failed with error code [" + number +
                            "]\n1 TARN::unmountDevice - Exec Pipe failed with error code [" + number + "]\n");
        EXPECT_EQ(renderMessages(bed.call()), "");
    }
}

// ---- What the runner is given -------------------------------------------------------------------------------

TEST(RunnerArguments, every_command_has_ten_minutes_and_four_empty_strings) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    const std::string table = "/dev/sdb1 /data xfs rw 0 0\n/dev/sdc1 /data_alt xfs ro 0 0\n";
    mounted(bed);
    device(bed);
    Node& data = bed.lastNode();
    bed.begin({.mountTable = table, .answers = {{.command = "umount", .exitStatus = 1}}});
    raising::takeRuns();
    znfi_objid* devices[] = {Bed::objid("/dev/sdd1")};
    char* paths[] = {bed.text("/dev/sde1")};
    bed.access.imported = 1;
    bed.call().quiesce(data->quiesce, nullptr, 0, nullptr);
    bed.call().unquiesce(data->quiesce, nullptr, 0);
    bed.call().cache_disable(data);
    bed.call().cache_enable(data);
    bed.call().build_alttree(data, bed.text("fid"), nullptr, devices, 1, &bed.outObject);
    bed.call().import_tree(data, nullptr, devices, 1, &bed.outObject);
    bed.call().deport_tree(data, bed.node("/data_alt"), &bed.access);
    bed.call().is_parent_pgn(bed.text(BED_DEVICES "/sdb1"), &bed.outInt, 0);
    bed.call().format(paths, 1, nullptr, bed.text("xfs"), nullptr, 1, nullptr, nullptr);
    addNodeToAccessList(bed, data, {"/dev/sdb1"});
    bed.call().disable_access(&bed.accessList.front(), 0x10);
    bed.call().online(nullptr, data, ZFI_ONLINE_UMOUNT, ZFI_DISPOSITION_REMOVE);
    const std::vector<raising::Run> runs = raising::takeRuns();
    EXPECT_GE(runs.size(), 15U);
    for (const raising::Run& run : runs) {
        EXPECT_EQ(run.timeout, 600U) << run.command;
        EXPECT_TRUE(run.othersAreEmpty) << run.command;
    }
}

TEST(RunnerArguments, only_fsck_has_forty_minutes) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.begin({.answers = {{.command = "mount", .exitStatus = 32}}});
    raising::takeRuns();
    char* paths[] = {bed.text("/dev/sde1")};
    bed.call().online_resource(paths, 1, bed.text(BED_ROOT), nullptr, nullptr, nullptr, 0, &bed.outPaths, &bed.outInt);
    int fscks = 0;
    for (const raising::Run& run : raising::takeRuns()) {
        const bool isFsck = run.command.rfind("/sbin/fsck", 0) == 0;
        fscks += isFsck;
        EXPECT_EQ(run.timeout, isFsck ? 2400U : 600U) << run.command;
        EXPECT_TRUE(run.othersAreEmpty) << run.command;
    }
    EXPECT_EQ(fscks, 1);
}

}  // namespace
