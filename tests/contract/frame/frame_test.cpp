// The entry-point frame of the PDK around a plug-in that does as it is told.
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "frame/frame_fixture.h"

namespace {

using namespace frame;

// ---- Delayed initialisation ---------------------------------------------------------------------------------

template <typename R, typename... A>
int callWithZeros(R (*entry)(A...)) {
    if constexpr (std::is_void_v<R>) {
        entry(A{}...);
        return -1;
    } else {
        return entry(A{}...);
    }
}

TEST(FrameTable, delayed_initialisation_runs_where_it_is_due_and_its_failure_answers_1) {
    const std::set<std::string> without = {"init",
                                           "fini",
                                           "claim",
                                           "supports_fitype",
                                           "errmsg",
                                           "reaccess_tmpobj",
                                           "deinit_node",
                                           "unquiesce",
                                           "cache_enable",
                                           "get_provider_info",
                                           "enumerate_nodes",
                                           "enumerate_fims",
                                           "get_last_error",
                                           "del_last_error",
                                           "get_locale_message",
                                           "del_locale_message",
                                           "revisit_pgn_nodes",
                                           "enumerate_host_nodes",
                                           "enumerate_enclosures"};
    znfi_trace_set_level(0);
    int delayedEntries = 0;
    const auto check = [&](const std::string& name, auto* entry) {
        Probe::reset();
        Probe::instance().delayedInitAnswer = 5;
        if (without.count(name) != 0) {
            if (name != "unquiesce" && name != "cache_enable") {  // the probe looks into what it is given
                callWithZeros(entry);
            }
            EXPECT_EQ(Probe::instance().delayedInits, 0) << name;
        } else {
            ++delayedEntries;
            EXPECT_EQ(callWithZeros(entry), ZFI_ERR_DELAYED_INIT) << name;
            EXPECT_EQ(Probe::instance().delayedInits, 1) << name;
            EXPECT_EQ(Probe::instance().calls, Calls{}) << name;
        }
        probe_fi_pgn_fini();
    };
#define ZFI_ENTRY(name, parameters, method, delayed, rule) check(#name, &probe_fi_pgn_##name);
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    EXPECT_EQ(delayedEntries, 58);
}

TEST_F(Frame, init_thaw_and_cache_enable_run_no_delayed_initialisation) {
    zfi_version version{};
    probe_fi_pgn_unquiesce(&freezes_[0], nullptr, 0);
    probe_fi_pgn_cache_enable(&domains_[0]);
    EXPECT_EQ(probe_fi_pgn_init(nullptr, &version, "fim"), ZFI_OK);
    EXPECT_EQ(Probe::instance().delayedInits, 0);
    EXPECT_EQ(calls(), (Calls{"unquiesce(/a, 1)", "cacheEnable(/a, 0)"}));
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().delayedInits, 1);
}

TEST_F(Frame, fini_marks_the_shutdown_and_a_later_call_makes_a_new_object) {
    CFiPluginBase::isShuttingDown(false);
    probe_fi_pgn_pre_prepare(&domains_[0]);
    probe_fi_pgn_fini();
    EXPECT_TRUE(CFiPluginBase::isShuttingDown());
    CFiPluginBase::isShuttingDown(false);
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().delayedInits, 2) << "the new object has not run it yet";
}

TEST_F(Frame, init_without_version_record_leaves_what_init_set) {
    zfi_version version{};
    ASSERT_EQ(probe_fi_pgn_init(nullptr, &version, "first"), ZFI_OK);
    EXPECT_EQ(probe_fi_pgn_init(nullptr, nullptr, "second"), ZFI_ERR_NO_VERSION_RECORD);
    probe_fi_pgn_pre_prepare(&domains_[0]);
    EXPECT_EQ(Probe::instance().fimName, "first");
}

TEST_F(Frame, delayed_initialisation_runs_once_and_its_failure_counts_once) {
    Probe::instance().delayedInitAnswer = 5;
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_ERR_DELAYED_INIT);
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().delayedInits, 1);
    EXPECT_EQ(calls(), (Calls{"prePrepare()"}));
}

// ---- One node or a list -------------------------------------------------------------------------------------

TEST_F(Frame, a_single_node_is_a_list_of_one) {
    char options[] = "text";
    answer("quiesce", 6);
    EXPECT_EQ(probe_fi_pgn_quiesce(&freezes_[0], nullptr, 0, options), 6);
    probe_fi_pgn_unquiesce(&freezes_[1], nullptr, 0);
    probe_fi_pgn_verify_qscombos(&splits_[0], nullptr, 0);
    probe_fi_pgn_isready(&splits_[0], session(), nullptr, 0);
    probe_fi_pgn_set_import_options(&splits_[1], nullptr, 0, nullptr, 7, nullptr);
    EXPECT_EQ(calls(), (Calls{"quiesce(/a, 1, text)", "unquiesce(/b, 1)", "verifyQSCombos(/a, 1)",
                              "isReady(" + session_ + ", /a, 1)", "setImportOptions(/b, 1, null, 7, null)"}));
}

TEST_F(Frame, a_list_makes_the_single_node_meaningless) {
    probe_fi_pgn_quiesce(&freezes_[1], freezeList_, 2, nullptr);
    probe_fi_pgn_unquiesce(&freezes_[1], freezeList_, 1);
    probe_fi_pgn_verify_qscombos(&splits_[1], list_, 2);
    EXPECT_EQ(calls(), (Calls{"quiesce(/a /b, 2, null)", "unquiesce(/a, 1)", "verifyQSCombos(/a /b, 2)"}));
}

TEST_F(Frame, nothing_given_is_a_null_list_of_count_0) {
    probe_fi_pgn_quiesce(nullptr, nullptr, 0, nullptr);
    probe_fi_pgn_unquiesce(nullptr, nullptr, 0);
    probe_fi_pgn_verify_qscombos(nullptr, nullptr, 0);
    EXPECT_EQ(calls(), (Calls{"quiesce(null, 0, null)", "unquiesce(null, 0)", "verifyQSCombos(null, 0)"}));
}

TEST_F(Frame, a_count_without_a_list_is_passed_as_it_is) {
    probe_fi_pgn_verify_qscombos(&splits_[0], nullptr, 2);
    EXPECT_EQ(calls(), (Calls{"verifyQSCombos(null, 2)"}));
}

// ---- Argument rules -----------------------------------------------------------------------------------------

TEST_F(Frame, claim_with_a_null_pointer_answers_0_without_the_method) {
    answer("claim", ZFI_CLAIMED);
    EXPECT_EQ(probe_fi_pgn_claim(nullptr, &ids_, &count_), ZFI_OK);
    EXPECT_EQ(probe_fi_pgn_claim(domains_[0].objid, nullptr, &count_), ZFI_OK);
    EXPECT_EQ(probe_fi_pgn_claim(domains_[0].objid, &ids_, nullptr), ZFI_OK);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(probe_fi_pgn_claim(domains_[0].objid, &ids_, &count_), ZFI_CLAIMED);
    EXPECT_EQ(calls(), (Calls{"claim(/a)"}));
}

TEST_F(Frame, subobj_list_and_config_refuse_null_pointers) {
    char text[] = "text";
    auto* spec = reinterpret_cast<zfi_confspec*>(text);
    EXPECT_EQ(probe_fi_pgn_subobj_list(nullptr, &ids_, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_subobj_list(&domains_[0], nullptr, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_subobj_list(&domains_[0], &ids_, nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_config(nullptr, 1, text, spec), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_config(&domains_[0], 1, text, nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(probe_fi_pgn_subobj_list(&domains_[0], &ids_, &count_), ZFI_OK);
    EXPECT_EQ(probe_fi_pgn_config(&domains_[0], 1, nullptr, spec), ZFI_OK);
    EXPECT_EQ(calls(), (Calls{"subobjList(/a)", "config(1, null)"}));
}

TEST_F(Frame, only_a_count_of_0_is_translated) {
    char name[] = "name";
    char* names[] = {name};
    char* out = name;
    EXPECT_EQ(probe_fi_pgn_translate_resource_names(names, 1, &out), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_translate_resource_names(names, -1, &out), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_translate_resource_names(nullptr, 0, &out), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_translate_resource_names(names, 0, nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(probe_fi_pgn_translate_resource_names(names, 0, &out), ZFI_OK);
    EXPECT_EQ(calls(), (Calls{"translateResourceNames(0)"}));
}

TEST_F(Frame, get_provider_info_clears_the_list_before_the_method) {
    char dirt = 0;
    auto* list = reinterpret_cast<zfi_provider_list*>(&dirt);
    answer("getProviderInfo", ZFI_ERR_FAILED);
    EXPECT_EQ(probe_fi_pgn_get_provider_info(&list), ZFI_ERR_FAILED);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(probe_fi_pgn_get_provider_info(nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(calls(), (Calls{"getProviderInfo(list is null)"}));
}

TEST_F(Frame, enumerate_nodes_needs_its_list_only) {
    zfi_node_list* list = nullptr;
    EXPECT_EQ(probe_fi_pgn_enumerate_nodes(nullptr, &count_, 0, nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(probe_fi_pgn_enumerate_nodes(&list, nullptr, 0, nullptr), ZFI_OK);
    EXPECT_EQ(calls(), (Calls{"enumerateNodes(null)"}));
}

TEST_F(Frame, fixed_arguments_are_added) {
    probe_fi_pgn_init_altnode(&domains_[0], nullptr, &domains_[1]);
    probe_fi_pgn_init_remnode(nullptr, &domains_[0], &domains_[1]);
    probe_fi_pgn_cache_disable(&domains_[0]);
    probe_fi_pgn_cache_enable(&domains_[1]);
    EXPECT_EQ(calls(), (Calls{"initAltNode(set, null, set, false)", "initAltNode(null, set, set, true)",
                              "cacheDisable(/a, 0)", "cacheEnable(/b, 0)"}));
}

TEST_F(Frame, objctl_answers_0_and_the_status_goes_through_its_pointer) {
    char command[] = "command";
    char text[] = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>";
    char* out = nullptr;
    long status = -1;
    answer("objctl", 6);
    EXPECT_EQ(probe_fi_pgn_objctl(command, text, &out, &status), ZFI_OK);
    EXPECT_EQ(status, 6);
    EXPECT_STREQ(out,
                 "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=answer value=42 type=int /> <OBJCTL_OUTPUT arg=more value=x "
                 "type=text /> </OBJCTL_ARG_LIST> ");
    EXPECT_EQ(calls(), (Calls{"objctl(command a:b:c)"}));
    std::free(out);
}

// ---- Exceptions ---------------------------------------------------------------------------------------------

void countLines(void* context, int, const char*, const char*) {
    ++*static_cast<int*>(context);
}

TEST_F(Frame, an_exception_leaves_the_entry_point_with_its_scope_closed) {
    int lines = 0;
    znfi_trace_set_level(6);
    znfi_trace_sink(countLines, &lines);
    Probe::instance().raises = true;
    EXPECT_THROW(probe_fi_pgn_pre_prepare(&domains_[0]), std::logic_error);
    znfi_trace_sink(nullptr, nullptr);
    znfi_trace_set_level(0);
    EXPECT_EQ(lines, 2);
}

}  // namespace
