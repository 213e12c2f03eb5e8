// What a provider compiles in or links: singletons, scopes, message ids, private data, sessions, object-control
// arguments.
#include <gtest/gtest.h>

#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "cfierror.h"
#include "cfiobjctlargs.h"
#include "cfiprivatedatafactory.h"
#include "cfisession.h"
#include "cfisingleton.h"
#include "cfitracelog.h"
#include "znfi.h"

namespace {

znfi_objid* objid(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::string(name).size() + 1), ZFI_OBJID_SUBOBJECT);
}

// ---- Singletons ---------------------------------------------------------------------------------------------

struct Tag;

class Counted : public CFiRefCount {
  public:
    Counted() { ++alive; }
    ~Counted() override { --alive; }
    static inline int alive = 0;
};

TEST(Singleton, destroying_one_that_does_not_exist_does_nothing) {
    EXPECT_FALSE((CFiContextSingleton<Counted, Tag>::instance(true)));
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Singleton, lives_until_its_last_reference_goes_and_comes_back_new) {
    struct OtherTag;
    using Single = CFiContextSingleton<Counted, OtherTag>;
    CFiSmartPtr<Counted> held = Single::instance(false);
    EXPECT_TRUE(held == Single::instance(false));
    EXPECT_FALSE(Single::instance(true));
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_FALSE(held == Single::instance(false));
    held.reset();
    Single::instance(true);
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Singleton, threads_that_come_first_together_get_one_object) {
    struct CrowdTag;
    using Single = CFiContextSingleton<Counted, CrowdTag>;
    constexpr size_t kThreads = 8;
    std::barrier together(kThreads);
    std::vector<CFiSmartPtr<Counted>> got(kThreads);
    std::vector<std::thread> threads;
    for (CFiSmartPtr<Counted>& mine : got) {
        threads.emplace_back([&together, &mine] {
            together.arrive_and_wait();
            mine = Single::instance(false);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const CFiSmartPtr<Counted>& mine : got) {
        EXPECT_TRUE(mine == got.front());
    }
    EXPECT_EQ(Counted::alive, 1);
    got.clear();
    Single::instance(true);
    EXPECT_EQ(Counted::alive, 0);
}

// ---- Trace scopes and message ids ---------------------------------------------------------------------------

void keep(void* lines, int level, const char*, const char* text) {
    static_cast<std::vector<std::string>*>(lines)->push_back(std::to_string(level) + " " + text);
}

std::vector<std::string> traced(const std::function<void(const CFiSmartPtr<CFiTraceLog>&)>& body) {
    std::vector<std::string> lines;
    znfi_trace_set_level(6);
    znfi_trace_sink(keep, &lines);
    body(makeCounted<CFiTraceLog>());
    znfi_trace_sink(nullptr, nullptr);
    return lines;
}

using Lines = std::vector<std::string>;

TEST(Scope, line_0_leaves_the_bracket_out_at_the_exit_only) {
    EXPECT_EQ(traced([](const auto& log) { CFiTraceLogFunction scope(log, "work", 0, "providers/x/file"); }),
              (Lines{"6 Entering Function work [0, file]", "6 Exiting Function work"}));
}

TEST(Scope, a_path_without_slash_is_printed_whole) {
    EXPECT_EQ(traced([](const auto& log) { CFiTraceLogFunction scope(log, "work", 7, "file"); }),
              (Lines{"6 Entering Function work [7, file]", "6 Exiting Function work [7, file]"}));
}

TEST(Scope, without_log_function_or_file_nothing_is_written) {
    EXPECT_EQ(traced([](const auto& log) {
                  CFiTraceLogFunction noLog({}, "work", 7, "file");
                  CFiTraceLogFunction noFunction(log, nullptr, 7, "file");
                  CFiTraceLogFunction noFile(log, "work", 7, nullptr);
              }),
              Lines{});
}

std::string messageId(int code) {
    return CFiError(code, "text", "file", 1, "function").getMessageId("fi", 6000);
}

TEST(MessageId, is_the_code_less_the_offset_where_it_is_greater) {
    EXPECT_EQ(messageId(6003), "MSG_ERROR_FI_0003");
    EXPECT_EQ(messageId(12), "MSG_ERROR_FI_0012");
    EXPECT_EQ(messageId(6001), "MSG_ERROR_FI_0001");
}

TEST(MessageId, of_a_code_equal_to_the_offset_is_the_code) {
    EXPECT_EQ(messageId(6000), "MSG_ERROR_FI_6000");
}

// ---- Private data -------------------------------------------------------------------------------------------

class Data : public CFiPrivateData {
  public:
    Data(znfi_objid* id, bool isAltNode) : CFiPrivateData(id, isAltNode) { ++alive; }
    ~Data() override { --alive; }
    static inline int alive = 0;
};

struct Factory : testing::Test {
    CFiPrivateDataConcreteFactory<Data> factory;
    zfi_domain first{};
    zfi_domain second{};
    Factory() { first.objid = second.objid = objid("/data"); }
    ~Factory() override {
        factory.deallocate(&first);
        factory.deallocate(&second);
    }
};

TEST_F(Factory, two_nodes_of_one_name_and_flag_share_an_object) {
    EXPECT_TRUE(factory.allocate(&first, false) == factory.allocate(&second, false));
    EXPECT_EQ(Data::alive, 1);
}

TEST_F(Factory, two_flags_make_two_objects) {
    EXPECT_FALSE(factory.allocate(&first, false) == factory.allocate(&second, true));
    EXPECT_FALSE(factory.access(&first)->getIsAltNode());
    EXPECT_TRUE(factory.access(&second)->getIsAltNode());
}

TEST_F(Factory, a_set_slot_is_answered_whatever_the_flag) {
    const auto data = factory.allocate(&first, false);
    EXPECT_TRUE(factory.allocate(&first, true) == data);
    EXPECT_FALSE(factory.accessByName("/data", true));
}

TEST_F(Factory, deallocating_the_first_of_two_leaves_the_object_the_second_removes_it) {
    factory.allocate(&first, false);
    factory.allocate(&second, false);
    EXPECT_EQ(factory.deallocate(&first), 0);
    EXPECT_TRUE(factory.accessByName("/data", false));
    EXPECT_EQ(factory.deallocate(&second), 0);
    EXPECT_FALSE(factory.accessByName("/data", false));
    EXPECT_EQ(Data::alive, 0);
    EXPECT_EQ(factory.deallocate(&second), -1);
    EXPECT_EQ(factory.deallocate(nullptr), -1);
}

TEST_F(Factory, a_name_never_allocated_gives_null) {
    EXPECT_FALSE(factory.accessByName("/none", false));
}

TEST_F(Factory, lists_a_map_in_the_order_of_names) {
    zfi_domain other{};
    other.objid = objid("/a");
    factory.allocate(&first, false);
    factory.allocate(&other, false);
    const auto list = factory.getPrivateDataList(false);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_STREQ(list[0]->getObjName(), "/a");
    EXPECT_STREQ(list[1]->getObjName(), "/data");
    EXPECT_TRUE(factory.getPrivateDataList(true).empty());
    factory.deallocate(&other);
}

TEST(PrivateData, host_lists_add_up_and_skip_null_names) {
    Data data(objid("/data"), false);
    char name[] = "host";
    zfi_host_infn last{name, nullptr};
    zfi_host_infn hole{nullptr, &last};
    zfi_host_infn head{name, &hole};
    data.setHostList(&head);
    data.setHostList(&last);
    EXPECT_EQ(data.getHostList().size(), 3U);
    data.setHostList(nullptr);
    EXPECT_EQ(data.getHostList().size(), 3U);
}

TEST(PrivateData, a_null_sub_object_adds_nothing_and_targets_are_copied) {
    Data data(objid("/data"), false);
    data.addSubObject(nullptr);
    data.addSubObject(objid("/dev/sdb1"));
    EXPECT_EQ(data.getSubObjectListLength(), 1);
    data.addTarget("target");
    data.getTargets().clear();
    EXPECT_EQ(data.getTargets(), (std::vector<std::string>{"target"}));
}

// ---- Sessions -----------------------------------------------------------------------------------------------

TEST(Session, one_id_is_one_session_and_a_null_id_is_none) {
    CFiSessionManager manager;
    EXPECT_FALSE(manager.getSession(nullptr));
    const auto session = manager.getSession("one");
    ASSERT_TRUE(session);
    EXPECT_TRUE(session == manager.getSession("one"));
    EXPECT_FALSE(session == manager.getSession("two"));
}

TEST(Session, the_first_node_of_a_name_wins) {
    zfi_domain domains[2]{};
    domains[0].objid = domains[1].objid = objid("/data");
    zfi_splitnode nodes[2]{};
    nodes[0].domain = &domains[0];
    nodes[1].domain = &domains[1];
    zfi_splitnode* list[] = {&nodes[0], &nodes[1]};
    const auto session = makeCounted<CFiSession>("id");
    session->addNodes(list, 2);
    ASSERT_EQ(session->nodes().size(), 1U);
    EXPECT_EQ(session->node("/data").domain, &domains[0]);
    EXPECT_EQ(session->node("/data").name, "/data");
    EXPECT_EQ(session->node("/data").snapshotName, "");
}

// ---- Object-control arguments -------------------------------------------------------------------------------

// The imported list as arg:value:type, a blank between entries.
std::string imported(const char* text) {
    CFiObjctlArgs arguments;
    EXPECT_EQ(arguments.importArgs(text), 0);
    std::string shown;
    for (const CFiObjctlArg& entry : arguments.input) {
        shown += (shown.empty() ? "" : " ") + std::string(entry.arg.c_str()) + ":" + entry.value.c_str() + ":" +
                 entry.type.c_str();
    }
    return shown;
}

TEST(ObjctlArguments, a_null_or_empty_text_imports_nothing) {
    EXPECT_EQ(imported(nullptr), "");
    EXPECT_EQ(imported(""), "");
}

TEST(ObjctlArguments, a_text_with_another_start_imports_nothing) {
    EXPECT_EQ(imported("<OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>"), "");
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST2> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>"), "");
}

TEST(ObjctlArguments, two_elements_are_two_entries_in_order) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT arg=d value=e type=f /> "
                       "</OBJCTL_ARG_LIST>"),
              "a:b:c d:e:f");
}

TEST(ObjctlArguments, attributes_out_of_order_stop_at_their_element) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT value=e arg=d type=f /> "
                       "<OBJCTL_INPUT arg=g value=h type=i /> </OBJCTL_ARG_LIST>"),
              "a:b:c");
}

TEST(ObjctlArguments, an_element_that_is_not_closed_is_kept_and_is_the_last) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c <OBJCTL_INPUT arg=d value=e type=f /> "
                       "</OBJCTL_ARG_LIST>"),
              "a:b:c");
}

TEST(ObjctlArguments, a_missing_value_or_type_at_the_end_drops_the_element) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a"), "");
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b"), "");
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c"), "a:b:c");
}

TEST(ObjctlArguments, an_empty_output_list_is_two_tags) {
    CFiObjctlArgs arguments;
    arguments.importArgs("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>");
    EXPECT_STREQ(arguments.exportArgs().c_str(), "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
}

TEST(ObjctlArguments, output_entries_are_written_in_order) {
    CFiObjctlArgs arguments;
    arguments.output.push_back({"a", "b", "c"});
    arguments.output.push_back({"d", "e", "f"});
    EXPECT_STREQ(arguments.exportArgs().c_str(),
                 "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=a value=b type=c /> <OBJCTL_OUTPUT arg=d value=e type=f /> "
                 "</OBJCTL_ARG_LIST> ");
}

}  // namespace
