// The entry points of the probe and what tests of the frame hand to them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/probe_plugin.h"
#include "zfi_entry_points.h"
#include "znfi.h"

extern "C" {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name probe_fi_pgn_##name;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
}

namespace frame {

using Calls = std::vector<std::string>;

inline znfi_objid* objid(const std::string& name) {
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

}  // namespace frame
