// With the shipped volume provider, which keeps its state in the blob and touches no device for it.
#include "host/road/recorded_nodes.h"

#include <gtest/gtest.h>

#include "host/catalog/catalog_test_case.h"

namespace tarnctl {
namespace {

constexpr const char* kState =
    "loop-snapshot 1\norigin /dev/loop3\nsnapshot /dev/loop4\nfile /x.tarnfi-1\ndevice 7\ninode 8\n";

class RecordedNodesTest : public CatalogTestCase {
  protected:
    void SetUp() override {
        auto loaded = Provider::load("loopfi", {TARNFI_TEST_PROVIDERS}, tap_);
        ASSERT_TRUE(loaded) << loaded.failure().cause;
        providers_.push_back(std::move(*loaded));
    }
    std::int64_t add(NodeRole role, const std::string& provider, const std::string& name) {
        const auto row = catalog_.addNode(id_, {role, provider, name, std::nullopt});
        EXPECT_TRUE(row);
        return row ? *row : 0;
    }
    ExitCode refusal(NodeRole role) {
        const auto node = recordedNode(providers_, catalog_, id_, role);
        EXPECT_FALSE(node);
        return node ? ExitCode::kDone : node.failure().code;
    }

    Catalog catalog_ = open();
    std::string id_ = newSnapshot(catalog_);
    TraceTap tap_;
    Providers providers_;
};

TEST_F(RecordedNodesTest, TheStateComesBack) {
    ASSERT_TRUE(catalog_.writeBlob(add(NodeRole::kDevice, "loopfi", "/dev/loop3"),
                                   {std::string(kState) + '\0', ZFI_BLOB_TEXT}));
    auto node = recordedNode(providers_, catalog_, id_, NodeRole::kDevice);
    ASSERT_TRUE(node) << node.failure().cause;
    EXPECT_EQ((*node)->name(), "/dev/loop3");
    const auto state = (*node)->state();
    ASSERT_TRUE(state);
    EXPECT_TRUE(state->starts_with(kState)) << *state;
}

TEST_F(RecordedNodesTest, WithoutAStateThereIsNoPrivateData) {
    add(NodeRole::kSnapshotDevice, "loopfi", "/dev/loop4");
    auto node = recordedNode(providers_, catalog_, id_, NodeRole::kSnapshotDevice);
    ASSERT_TRUE(node);
    EXPECT_EQ((*node)->record()->privateData, nullptr);
}

TEST_F(RecordedNodesTest, TheNewestNodeOfARoleCounts) {
    add(NodeRole::kAlternate, "loopfi", "/first");
    add(NodeRole::kAlternate, "loopfi", "/second");
    auto node = recordedNode(providers_, catalog_, id_, NodeRole::kAlternate);
    ASSERT_TRUE(node);
    EXPECT_EQ((*node)->name(), "/second");
}

TEST_F(RecordedNodesTest, WhatIsNotThereIsNotFound) {
    EXPECT_EQ(refusal(NodeRole::kOrigin), ExitCode::kNotFound);
    add(NodeRole::kOrigin, "otherfi", "/data");
    EXPECT_EQ(refusal(NodeRole::kOrigin), ExitCode::kNotFound);
    const auto unknown = recordedNode(providers_, catalog_, "unknown", NodeRole::kOrigin);
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.failure().code, ExitCode::kNotFound);
}

TEST_F(RecordedNodesTest, AStateThatIsNoneIsAnError) {
    ASSERT_TRUE(catalog_.writeBlob(add(NodeRole::kDevice, "loopfi", "/dev/loop3"), {"nonsense", ZFI_BLOB_TEXT}));
    EXPECT_EQ(refusal(NodeRole::kDevice), ExitCode::kFailed);
}

}  // namespace
}  // namespace tarnctl
