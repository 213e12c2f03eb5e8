#include "host/restore/restore_steps.h"

#include <gtest/gtest.h>

#include "host/catalog/catalog_test_case.h"

namespace tarnctl {
namespace {

const DisableUndo kMounted{"tarnfi",    "/mnt/\xff#", "/dev/loop3", "xfs", 0x70000003, "<FS_TYPE>xfs</FS_TYPE>\n",
                           "rw,nosuid", "rw,attr2"};

class RestoreStepsTest : public CatalogTestCase {
  protected:
    UnfinishedRestore unfinished() {
        auto found = unfinishedRestoreOf(catalog_, id_);
        EXPECT_TRUE(found);
        return found ? *found : UnfinishedRestore{};
    }
    StepKey intend(const StepIntent& intent) {
        auto key = catalog_.intend(id_, intent);
        EXPECT_TRUE(key);
        return key ? *key : StepKey{};
    }

    Catalog catalog_ = open();
    std::string id_ = newSnapshot(catalog_);
};

TEST_F(RestoreStepsTest, HowTheOriginWasMountedComesBackByteForByte) {
    intend(intentOf(kMounted));
    ASSERT_TRUE(unfinished().disable);
    const auto undo = disableUndoOf(*unfinished().disable);
    ASSERT_TRUE(undo);
    EXPECT_EQ(undo->mountPoint, kMounted.mountPoint);
    EXPECT_EQ(undo->fsDevice, kMounted.fsDevice);
    EXPECT_EQ(undo->state, kMounted.state);
    EXPECT_EQ(undo->options, kMounted.options);
    EXPECT_EQ(undo->superOptions, kMounted.superOptions);
}

TEST_F(RestoreStepsTest, ARestoreIsUnfinishedUntilItIsWrittenAndMounted) {
    EXPECT_FALSE(unfinished());
    const StepKey disable = intend(intentOf(kMounted));
    EXPECT_TRUE(unfinished().disable);
    ASSERT_TRUE(catalog_.finish({disable, StepOutcome::kDone, {}}));
    const StepKey restore = intend(intentOf(RestoreUndo{"loopfi", "/dev/loop3", "/dev/loop4", "no other copy"}));
    ASSERT_TRUE(unfinished().restore);
    const auto undo = restoreUndoOf(*unfinished().restore);
    ASSERT_TRUE(undo);
    EXPECT_EQ(undo->despite, "no other copy");
    ASSERT_TRUE(catalog_.finish({restore, StepOutcome::kDone, {}}));
    EXPECT_FALSE(unfinished().restore);
    EXPECT_TRUE(unfinished().disable) << "it is not mounted yet";
    EXPECT_TRUE(unfinished().isWritten);
    ASSERT_TRUE(catalog_.undone(disable));
    EXPECT_FALSE(unfinished());
}

TEST_F(RestoreStepsTest, ARestoreThatWroteNothingIsOver) {
    const StepKey restore = intend(intentOf(RestoreUndo{"loopfi", "/dev/loop3", "/dev/loop4", ""}));
    ASSERT_TRUE(catalog_.finish({restore, StepOutcome::kFailed, "refused"}));
    EXPECT_FALSE(unfinished());
}

TEST_F(RestoreStepsTest, AnEarlierRestoreDoesNotCountAsWritten) {
    const StepKey first = intend(intentOf(RestoreUndo{"loopfi", "/dev/loop3", "/dev/loop4", ""}));
    ASSERT_TRUE(catalog_.finish({first, StepOutcome::kDone, {}}));
    intend(intentOf(kMounted));
    EXPECT_TRUE(unfinished().disable);
    EXPECT_FALSE(unfinished().isWritten);
}

TEST_F(RestoreStepsTest, ATextThatIsNoneIsAFailureThatNamesTheStep) {
    StepRecord step;
    step.intent = {step::kDisable, "{}"};
    const auto undo = disableUndoOf(step);
    ASSERT_FALSE(undo);
    EXPECT_NE(undo.failure().cause.find("disable"), std::string::npos);
}

}  // namespace
}  // namespace tarnctl
