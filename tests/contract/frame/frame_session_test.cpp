// The session calls of the entry-point frame: preselect, select, prepare, make.
#include "frame/frame_fixture.h"

namespace {

using namespace frame;

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
    ids_ = reinterpret_cast<znfi_objid**>(this);
    EXPECT_EQ(probe_fi_pgn_make(&splits_[0], session(), nullptr, 0, &ids_, &count_), 6);
    EXPECT_EQ(static_cast<void*>(ids_), static_cast<void*>(this));
    EXPECT_EQ(count_, -77);
    EXPECT_EQ(domains_[0].state, 0U);
}

TEST_F(Frame, make_of_no_nodes_writes_the_count_and_leaves_the_ids) {
    answer("make", ZFI_USE_SESSION);
    ids_ = reinterpret_cast<znfi_objid**>(this);
    EXPECT_EQ(probe_fi_pgn_make(nullptr, session(), list_, 0, &ids_, &count_), ZFI_OK);
    EXPECT_EQ(count_, 0);
    count_ = -77;
    EXPECT_EQ(probe_fi_pgn_make(nullptr, session(), nullptr, 0, &ids_, &count_), ZFI_OK);
    EXPECT_EQ(count_, 0);
    EXPECT_EQ(static_cast<void*>(ids_), static_cast<void*>(this));
}

TEST_F(Frame, make_per_node_is_passed_through) {
    answer("make", 6);
    EXPECT_EQ(probe_fi_pgn_make(&splits_[0], session(), nullptr, 0, &ids_, &count_), 6);
    EXPECT_EQ(calls(), (Calls{"make(" + session_ + ", /a, 1, set, set)"}));
    EXPECT_EQ(domains_[0].state, 0U);
    EXPECT_EQ(ids_, nullptr);
    EXPECT_EQ(count_, -77);
}

}  // namespace
