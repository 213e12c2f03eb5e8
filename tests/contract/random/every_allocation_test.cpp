// Memory that runs out in the middle of a call: at every single allocation of it. The call answers a status or lets the
// exception through; either way nothing is lost, every scope is closed, and the next call works.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

#include "bed/bed.h"
#include "failing_memory.h"
#include "observed_calls.h"

namespace {

using namespace roads;

const char* const kTable = "/dev/sdb1 /data xfs rw 0 0\nserver:/export /nfs nfs rw 0 0\n";

// The provider with one node; started without a callback, whose memory would be the test's own.
class Started {
  public:
    Started() : provider_(TARNFI_LIBRARY, "tarnfi"), node_("/data", {"/data"}) {
        bed::shapeHost({.mountTable = kTable,
                        .procMounts = kTable,
                        .answers = {{.command = "umount", .exitStatus = 1, .prints = "one\ntwo\n"},
                                    {.command = "mount", .prints = "xfs\n"}}});
        init();
    }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;
    ~Started() {
        zfi_msg_info* list = nullptr;
        call().del_last_error(&list);
        call().deinit_node(node_);
        call().fini();
    }

    const bed::EntryPoints& call() const { return provider_.call(); }
    zfi_domain* node() { return node_; }
    int init() {
        zfi_version version{};
        return call().init(nullptr, &version, "memory");
    }
    int initNode() { return call().init_node(node_, nullptr, 0, nullptr); }
    int releaseNode() {
        call().deinit_node(node_);
        return ZFI_OK;
    }

  private:
    Scopes scopes_;  // first made, last gone
    bed::Provider provider_;
    bed::Node node_;

  public:
    std::string openScopes() const { return scopes_.fault(); }
};

struct Case {
    friend void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }
    const char* name;
    std::function<void(Started&)> before;
    std::function<int(Started&)> call;
    int status = ZFI_OK;  // with memory
    // What a caller does after a failure before it tries again.
    std::function<void(Started&)> after = {};
};

void nothing(Started&) {}
void withNode(Started& started) {
    started.initNode();
}
void withoutNode(Started& started) {
    started.releaseNode();
}
znfi_objid* objid(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::strlen(name) + 1), ZFI_OBJID_SUBOBJECT);
}

int save(Started& started) {
    zfi_blob blob{};
    const int status = started.call().process_providerstate(started.node(), &blob, ZFI_STATE_SAVE);
    znfi_free_buf(blob.data, blob.length);
    return status;
}

int restore(Started& started) {
    std::string text = bed::State{.device = "/dev/a", .type = "xfs", .options = std::string(100, 'o')}.text();
    zfi_blob blob{text.size() + 1, text.data(), ZFI_BLOB_TEXT, 0};
    return started.call().process_providerstate(started.node(), &blob, ZFI_STATE_RESTORE);
}

int subObjects(Started& started) {
    znfi_objid** list = nullptr;
    int count = 0;
    const int status = started.call().subobj_list(started.node(), &list, &count);
    znfi_free_buf(list, static_cast<size_t>(count) * sizeof(znfi_objid*));
    return status;
}

int makeInSession(Started& started) {
    char id[] = "a session whose id is long enough to need memory of its own";
    zfi_splitnode split{
        .domain = started.node(), .splitType = nullptr, .freezeBudgetMs = 0, .flags = 0, .sessionId = id};
    zfi_snapreplica_ele element{started.node()->objid, objid("/dev/a_snapshot_with_a_long_name"), nullptr, 0, 0};
    if (const int status = started.call().select(&split, id, nullptr, 0); status != ZFI_OK) {
        return status;
    }
    if (const int status = started.call().update_snapshot_handle(id, &element); status != ZFI_OK) {
        return status;
    }
    znfi_objid** ids = nullptr;
    int count = 0;
    const int status = started.call().make(&split, id, nullptr, 0, &ids, &count);
    znfi_free_buf(ids, static_cast<size_t>(count) * sizeof(znfi_objid*));
    return status;
}

int buildTree(Started& started) {
    char fid[] = "fid";
    znfi_objid* device = objid("/dev/snap0");
    znfi_objid* made = nullptr;
    return started.call().build_alttree(started.node(), fid, nullptr, &device, 1, &made);
}

int importTree(Started& started) {
    znfi_objid* device = objid("/dev/snap0");
    znfi_objid* made = nullptr;
    return started.call().import_tree(started.node(), nullptr, &device, 1, &made);
}

int format(Started& started) {
    char device[] = "/dev/sdq";
    char* devices[] = {device, nullptr};
    char type[] = "xfs";
    char options[] = R"(<FORMAT_OPTIONS><OPTION name="mkfsOptions">-b size=4096</OPTION></FORMAT_OPTIONS>)";
    return started.call().format(devices, 1, nullptr, type, options, 1, nullptr, nullptr);
}

int onlineResource(Started& started) {
    char device[] = "/dev/sdq";
    char* devices[] = {device, nullptr};
    char** paths = nullptr;
    int count = 0;
    const int status =
        started.call().online_resource(devices, 1, nullptr, nullptr, nullptr, nullptr, 0, &paths, &count);
    if (paths != nullptr) {
        znfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
        std::free(paths);
    }
    return status;
}

int disableAccess(Started& started) {
    zfi_node_subobj_list list{started.node(), nullptr, nullptr, nullptr};
    return started.call().disable_access(&list, 0);
}

int readMessages(Started& started) {
    zfi_msg_info* list = nullptr;
    const int status = started.call().get_last_error(&list);
    char* text = nullptr;
    int length = 0;
    int textStatus = ZFI_OK;
    try {
        textStatus = started.call().get_locale_message(&length, list, "de", &text);
        started.call().del_locale_message(&text);
    } catch (const std::bad_alloc&) {
        textStatus = ZFI_ERR_NO_MEMORY;
    }
    started.call().del_last_error(&list);
    return status != ZFI_OK ? status : textStatus;
}

int information(Started& started) {
    zfi_provider_list* list = nullptr;
    const int status = started.call().get_provider_info(&list);
    znfi_free_providerlist(list);
    return status;
}

int objectControl(Started& started) {
    char command[] = "trace_level";
    char text[] = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=level value=6 type=int /> </OBJCTL_ARG_LIST> ";
    char* out = nullptr;
    long status = 0;
    const int answer = started.call().objctl(command, text, &out, &status);
    std::free(out);
    return answer;
}

int dirtyUnmount(Started& started) {
    return started.call().dispose(nullptr, started.node(), nullptr, ZFI_DISPOSITION_REMOVE);
}

void withMessage(Started& started) {
    dirtyUnmount(started);
}

const Case kCases[] = {
    {"init", nothing, [](Started& s) { return s.init(); }},
    {"init_node", nothing, [](Started& s) { return s.initNode(); }, ZFI_OK, withoutNode},
    {"init_altnode", nothing, [](Started& s) { return s.call().init_altnode(nullptr, nullptr, s.node()); }},
    {"save", withNode, save},
    {"restore", withNode, restore},
    {"subobj_list", withNode, subObjects},
    {"quiesce", withNode, [](Started& s) { return s.call().quiesce(s.node()->quiesce, nullptr, 0, nullptr); }},
    {"cache_disable", withNode, [](Started& s) { return s.call().cache_disable(s.node()); }},
    {"select_and_make", nothing, makeInSession},
    {"build_alttree", withNode, buildTree},
    {"import_tree", withNode, importTree},
    {"a_command_that_fails", withNode, dirtyUnmount, ZFI_ERR_UMOUNT_FAILED},
    {"disable_access", withNode, disableAccess, ZFI_ERR_UMOUNT_FAILED},
    {"format", nothing, format},
    {"online_resource", nothing, onlineResource},
    {"messages", withMessage, readMessages, ZFI_OK, withMessage},
    {"get_provider_info", nothing, information},
    {"objctl", nothing, objectControl},
};

// One try with the n-th allocation failing; false when the call made fewer.
bool failAt(const Case& one, int n) {
    Started started;
    one.before(started);
    failAllocation(n);
    try {
        one.call(started);
    } catch (const std::bad_alloc&) {
    }
    const bool hasFailed = stopFailing();
    EXPECT_EQ(started.openScopes(), "") << "allocation " << n;
    awaitKilledChildren();  // a command that was cut short is killed, and reaped by the next one
    if (one.after) {
        one.after(started);
    }
    EXPECT_EQ(one.call(started), one.status) << "after allocation " << n;
    EXPECT_FALSE(hasChild()) << "allocation " << n;
    return hasFailed;
}

class EveryAllocation : public testing::TestWithParam<Case> {};

TEST_P(EveryAllocation, that_fails_loses_nothing) {
    if (!bed::reasonToSkip().empty()) {
        GTEST_SKIP() << bed::reasonToSkip();
    }
    const int descriptorsBefore = descriptors();
    int allocations = 0;
    while (allocations < 500 && failAt(GetParam(), allocations + 1)) {
        ++allocations;
    }
    EXPECT_GT(allocations, 0);
    EXPECT_LT(allocations, 500);
    EXPECT_EQ(descriptors(), descriptorsBefore);
    EXPECT_EQ(znfi_outstanding_bufs(), 0);
    EXPECT_FALSE(leaks());
}

INSTANTIATE_TEST_SUITE_P(Contract, EveryAllocation, testing::ValuesIn(kCases),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
