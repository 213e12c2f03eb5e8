// The entry-point frame of the PDK around a plug-in that does as it is told.
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "frame/probe_plugin.h"
#include "zfi_entry_points.h"
#include "znfi.h"

extern "C" {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name probe_fi_pgn_##name;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
}

namespace {

using Calls = std::vector<std::string>;

znfi_objid* objid(const std::string& name) {
    return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_SUBOBJECT);
}

class Frame : public testing::Test {
  protected:
    Frame() {
        Probe::reset();
        znfi_trace_set_level(0);
        for (size_t i = 0; i < 2; ++i) {
            domains_[i].objid = objid(i == 0 ? "/a" : "/b");
            splits_[i].domain = &domains_[i];
            freezes_[i].domain = &domains_[i];
        }
        // Sessions outlive fini: each test has one of its own.
        session_ = testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    ~Frame() override { probe_fi_pgn_fini(); }

    Calls calls() const { return Probe::instance().calls; }
    char* session() { return session_.data(); }
    void answer(const char* method, int status) { Probe::instance().answers[method] = status; }
    // The number of nodes that the session holds now, as a session form sees it.
    size_t nodesInSession() {
        answer("prepare", ZFI_USE_SESSION);
        probe_fi_pgn_prepare(&splits_[0], session(), nullptr, 0, 0);
        return Probe::instance().sessionNodes["prepareSnapshots"];
    }
    void nameSnapshot(size_t node, const char* snapshot) {
        zfi_snapreplica_ele element{domains_[node].objid, objid(snapshot), nullptr, 0, 0};
        EXPECT_EQ(probe_fi_pgn_update_snapshot_handle(session(), &element), ZFI_OK);
    }

    zfi_domain domains_[2]{};
    zfi_splitnode splits_[2]{};
    zfi_quiescenode freezes_[2]{};
    zfi_splitnode* list_[2] = {&splits_[0], &splits_[1]};
    zfi_quiescenode* freezeList_[2] = {&freezes_[0], &freezes_[1]};
    znfi_objid** ids_ = nullptr;
    int count_ = -77;
    std::string session_;
};

// ---- Delayed initialisation
// ------------------------------------------------------------------------------------------

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

TEST_F(Frame, delayed_initialisation_runs_once_and_its_failure_counts_once) {
    Probe::instance().delayedInitAnswer = 5;
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_ERR_DELAYED_INIT);
    EXPECT_EQ(probe_fi_pgn_pre_prepare(&domains_[0]), ZFI_OK);
    EXPECT_EQ(Probe::instance().delayedInits, 1);
    EXPECT_EQ(calls(), (Calls{"prePrepare()"}));
}

// ---- One node or a list
// ----------------------------------------------------------------------------------------------

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

// ---- Argument rules
// --------------------------------------------------------------------------------------------------

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

// ---- Sessions
// --------------------------------------------------------------------------------------------------------

TEST_F(Frame, select_that_answers_0_records_the_nodes) {
    EXPECT_EQ(probe_fi_pgn_select(nullptr, session(), list_, 2), ZFI_OK);
    EXPECT_EQ(calls(), (Calls{"select(" + session_ + ", /a /b, 2)"}));
    EXPECT_EQ(nodesInSession(), 2U);
}

TEST_F(Frame, select_that_answers_4_records_the_nodes_and_runs_the_session_form) {
    answer("select", ZFI_USE_SESSION);
    answer("selectSnapshots", 6);
    EXPECT_EQ(probe_fi_pgn_select(&splits_[0], session(), nullptr, 0), 6);
    EXPECT_EQ(calls(), (Calls{"select(" + session_ + ", /a, 1)", "selectSnapshots(" + session_ + ")"}));
    EXPECT_EQ(Probe::instance().sessionNodes["selectSnapshots"], 1U);
}

TEST_F(Frame, select_that_answers_6_records_nothing) {
    answer("select", 6);
    EXPECT_EQ(probe_fi_pgn_select(nullptr, session(), list_, 2), 6);
    EXPECT_EQ(nodesInSession(), 0U);
}

TEST_F(Frame, preselect_records_and_calls_no_method) {
    EXPECT_EQ(probe_fi_pgn_preselect(nullptr, session(), list_, 2), ZFI_OK);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(nodesInSession(), 2U);
}

TEST_F(Frame, prepare_that_answers_4_runs_the_session_form_and_adds_no_node) {
    answer("prepare", ZFI_USE_SESSION);
    answer("prepareSnapshots", 32);
    EXPECT_EQ(probe_fi_pgn_prepare(nullptr, session(), list_, 2, 9), 32);
    EXPECT_EQ(calls(), (Calls{"prepare(" + session_ + ", /a /b, 2, 9)", "prepareSnapshots(" + session_ + ")"}));
    EXPECT_EQ(Probe::instance().sessionNodes["prepareSnapshots"], 0U);
}

TEST_F(Frame, prepare_that_answers_anything_else_is_its_answer) {
    answer("prepare", 6);
    EXPECT_EQ(probe_fi_pgn_prepare(&splits_[0], session(), nullptr, 0, 0), 6);
    EXPECT_EQ(calls(), (Calls{"prepare(" + session_ + ", /a, 1, 0)"}));
}

TEST_F(Frame, make_turns_the_sessions_snapshot_names_into_ids_in_order) {
    answer("make", ZFI_USE_SESSION);
    probe_fi_pgn_preselect(nullptr, session(), list_, 2);
    nameSnapshot(1, "/dev/snapB");
    nameSnapshot(0, "/dev/snapA");
    ASSERT_EQ(probe_fi_pgn_make(nullptr, session(), list_, 2, &ids_, &count_), ZFI_OK);
    ASSERT_EQ(count_, 2);
    ASSERT_NE(ids_, nullptr);
    EXPECT_STREQ(ids_[0]->name, "/dev/snapA");
    EXPECT_STREQ(ids_[1]->name, "/dev/snapB");
    EXPECT_EQ(ids_[0]->flag, static_cast<uint32_t>(ZFI_OBJID_NAMED));
    EXPECT_EQ(domains_[0].state, ZFI_STATE_MADE);
    EXPECT_EQ(domains_[1].state, ZFI_STATE_MADE);
    znfi_free_buf(ids_, 2 * sizeof *ids_);
}

TEST_F(Frame, make_keeps_the_other_bits_of_the_state) {
    answer("make", ZFI_USE_SESSION);
    domains_[0].state = ZFI_STATE_OFFLINE;
    probe_fi_pgn_make(&splits_[0], session(), nullptr, 0, &ids_, &count_);
    EXPECT_EQ(domains_[0].state, ZFI_STATE_OFFLINE | ZFI_STATE_MADE);
}

TEST_F(Frame, make_with_a_name_that_gives_no_id_answers_0_a_count_and_no_ids) {
    const int64_t before = znfi_outstanding_bufs();
    answer("make", ZFI_USE_SESSION);
    probe_fi_pgn_preselect(nullptr, session(), list_, 2);
    nameSnapshot(0, "/dev/snapA");
    EXPECT_EQ(probe_fi_pgn_make(nullptr, session(), list_, 2, &ids_, &count_), ZFI_OK);
    EXPECT_EQ(count_, 2);
    EXPECT_EQ(ids_, nullptr);
    EXPECT_EQ(znfi_outstanding_bufs(), before);
}

TEST_F(Frame, make_whose_session_form_fails_writes_nothing) {
    answer("make", ZFI_USE_SESSION);
    answer("makeSnapshots", 6);
    EXPECT_EQ(probe_fi_pgn_make(&splits_[0], session(), nullptr, 0, &ids_, &count_), 6);
    EXPECT_EQ(count_, -77);
    EXPECT_EQ(domains_[0].state, 0U);
}

TEST_F(Frame, make_of_an_empty_list_has_count_0) {
    answer("make", ZFI_USE_SESSION);
    EXPECT_EQ(probe_fi_pgn_make(nullptr, session(), list_, 0, &ids_, &count_), ZFI_OK);
    EXPECT_EQ(count_, 0);
    EXPECT_EQ(ids_, nullptr);
}

TEST_F(Frame, make_per_node_is_passed_through) {
    answer("make", 6);
    EXPECT_EQ(probe_fi_pgn_make(&splits_[0], session(), nullptr, 0, &ids_, &count_), 6);
    EXPECT_EQ(calls(), (Calls{"make(" + session_ + ", /a, 1, set, set)"}));
    EXPECT_EQ(domains_[0].state, 0U);
}

// ---- Exceptions
// ------------------------------------------------------------------------------------------------------

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
