#include "host/catalog/catalog_test_case.h"

namespace tarnctl {
namespace {

using CatalogSteps = CatalogTestCase;

std::vector<std::string> namesOf(const Result<std::vector<StepRecord>>& steps) {
    std::vector<std::string> names;
    EXPECT_TRUE(steps);
    for (const StepRecord& step : *steps) {
        names.push_back(step.intent.name);
    }
    return names;
}

TEST_F(CatalogSteps, goThroughTheirStates) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    const auto attach = catalog.intend(id, {"attach", R"({"loop":"/dev/loop3"})"});
    ASSERT_TRUE(attach);
    EXPECT_EQ(attach->ordinal, 1);
    StepRecord step = catalog.steps(id)->front();
    EXPECT_EQ(step.state, StepState::kIntended);
    EXPECT_EQ(step.intent.undo, R"({"loop":"/dev/loop3"})");
    EXPECT_GT(step.intendedNs, 0);
    EXPECT_EQ(step.finishedNs, std::nullopt);

    ASSERT_TRUE(catalog.finish({*attach, StepOutcome::kDone, ""}));
    step = catalog.steps(id)->front();
    EXPECT_EQ(step.state, StepState::kDone);
    EXPECT_GE(*step.finishedNs, step.intendedNs);

    ASSERT_TRUE(catalog.noteUndoFailure(*attach, "device is busy"));
    step = catalog.steps(id)->front();
    EXPECT_EQ(step.state, StepState::kDone);
    EXPECT_EQ(step.detail, "device is busy");

    ASSERT_TRUE(catalog.undone(*attach));
    const StepRecord first = catalog.steps(id)->front();
    ASSERT_TRUE(catalog.undone(*attach));
    const StepRecord second = catalog.steps(id)->front();
    EXPECT_EQ(second.state, StepState::kUndone);
    EXPECT_EQ(second.undoneNs, first.undoneNs);
}

TEST_F(CatalogSteps, aStepIsFinishedOnce) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    const auto step = catalog.intend(id, {"mount", "{}"});
    ASSERT_TRUE(catalog.finish({*step, StepOutcome::kUnknown, "timed out"}));
    EXPECT_EQ(catalog.steps(id)->front().state, StepState::kIntended);
    EXPECT_EQ(catalog.steps(id)->front().detail, "timed out");
    ASSERT_TRUE(catalog.finish({*step, StepOutcome::kFailed, "no such device"}));
    EXPECT_EQ(catalog.finish({*step, StepOutcome::kDone, ""}).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.steps(id)->front().state, StepState::kFailed);
    EXPECT_EQ(catalog.undone({id, 99}).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.noteUndoFailure({"x", 1}, "").failure().code, ExitCode::kNotFound);
}

TEST_F(CatalogSteps, toUndoAreThoseThatMayHaveAnEffectNewestFirst) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    for (const char* name : {"one", "two", "three", "four", "five"}) {
        ASSERT_TRUE(catalog.intend(id, {name, "{}"}));
    }
    ASSERT_TRUE(catalog.finish({{id, 1}, StepOutcome::kDone, ""}));
    ASSERT_TRUE(catalog.finish({{id, 2}, StepOutcome::kFailed, ""}));
    ASSERT_TRUE(catalog.finish({{id, 3}, StepOutcome::kUnknown, ""}));
    ASSERT_TRUE(catalog.undone({id, 5}));
    EXPECT_EQ(namesOf(catalog.stepsToUndo(id)), (std::vector<std::string>{"four", "three", "one"}));
    EXPECT_EQ(namesOf(catalog.steps(id)), (std::vector<std::string>{"one", "two", "three", "four", "five"}));
}

TEST_F(CatalogSteps, undoDataMustBeJson) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    EXPECT_FALSE(catalog.intend(id, {"attach", "not json"}));
    EXPECT_FALSE(catalog.windowIntent(id, {{"freeze", "{}"}, {"make", ""}}));
    EXPECT_FALSE(catalog.isWindowOpen());
    EXPECT_TRUE(catalog.steps(id)->empty());
}

TEST_F(CatalogSteps, aWindowIsOneIntentAndOneOutcome) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    const auto keys = catalog.windowIntent(id, {{"freeze", "{}"}, {"make", R"({"name":"x"})"}, {"thaw", "{}"}});
    ASSERT_TRUE(keys);
    ASSERT_EQ(keys->size(), 3U);
    EXPECT_TRUE(catalog.isWindowOpen());
    EXPECT_EQ(namesOf(open().stepsToUndo(id)), (std::vector<std::string>{"thaw", "make", "freeze"}));

    ASSERT_TRUE(catalog.windowOutcome(id, {{{keys->at(0), StepOutcome::kDone, ""},
                                            {keys->at(1), StepOutcome::kFailed, "no space"},
                                            {keys->at(2), StepOutcome::kDone, ""}},
                                           Consistency::kBroken,
                                           1'234'567}));
    EXPECT_FALSE(catalog.isWindowOpen());
    EXPECT_EQ(catalog.steps(id)->at(1).state, StepState::kFailed);
    EXPECT_EQ(catalog.snapshot(id)->consistency, Consistency::kBroken);
    EXPECT_EQ(catalog.snapshot(id)->windowNs, 1'234'567);
}

TEST_F(CatalogSteps, nothingIsWrittenInsideAWindow) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    const auto keys = catalog.windowIntent(id, {{"freeze", "{}"}});
    ASSERT_TRUE(keys);
    const auto before = std::filesystem::file_size(file_ + "-wal");
    EXPECT_EQ(catalog.intend(id, {"attach", "{}"}).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.finish({keys->front(), StepOutcome::kDone, ""}).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.undone(keys->front()).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.setState(id, SnapshotState::kReady).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.addNode(id, {}).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.writeBlob(1, {}).failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.windowIntent(id, {}).failure().code, ExitCode::kUnsupported);
    EXPECT_FALSE(catalog.createSnapshot({}));
    EXPECT_EQ(std::filesystem::file_size(file_ + "-wal"), before);
    EXPECT_TRUE(catalog.snapshot(id));
}

TEST_F(CatalogSteps, anOutcomeIsAllOrNothingAndClosesTheWindow) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    const auto keys = catalog.windowIntent(id, {{"freeze", "{}"}});
    const WindowResult result{
        {{keys->front(), StepOutcome::kDone, ""}, {{id, 99}, StepOutcome::kDone, ""}}, Consistency::kFrozen, 1};
    EXPECT_EQ(catalog.windowOutcome(id, result).failure().code, ExitCode::kNotFound);
    EXPECT_FALSE(catalog.isWindowOpen());
    EXPECT_EQ(catalog.steps(id)->front().state, StepState::kIntended);
    EXPECT_EQ(catalog.snapshot(id)->consistency, Consistency::kUndecided);
    EXPECT_TRUE(catalog.finish({keys->front(), StepOutcome::kDone, ""}));
}

}  // namespace
}  // namespace tarnctl
