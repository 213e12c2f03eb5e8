#include "host/freeze/freeze_window.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

using namespace std::chrono_literals;

const FreezeWindow::Clock::time_point kStart{1000s};

TEST(FreezeWindow, OpensAndClosesUnbroken) {
    FreezeWindow window;
    EXPECT_EQ(window.state(), WindowState::kNotOpened);
    window.open(kStart);
    EXPECT_EQ(window.state(), WindowState::kOpen);
    EXPECT_FALSE(window.duration());
    window.close(ThawOutcome::kDone, kStart + 5ms);
    EXPECT_EQ(window.state(), WindowState::kUnbroken);
    EXPECT_EQ(window.duration(), 5ms);
}

TEST(FreezeWindow, AThawThatFoundNothingFrozenBreaksIt) {
    FreezeWindow window;
    window.open(kStart);
    window.close(ThawOutcome::kWasNotFrozen, kStart + 5ms);
    EXPECT_EQ(window.state(), WindowState::kBroken);
}

TEST(FreezeWindow, OnlyTheFirstThawCounts) {
    FreezeWindow window;
    window.open(kStart);
    window.close(ThawOutcome::kDone, kStart + 5ms);
    window.close(ThawOutcome::kWasNotFrozen, kStart + 9ms);
    EXPECT_EQ(window.state(), WindowState::kUnbroken);
    EXPECT_EQ(window.duration(), 5ms);
}

TEST(FreezeWindow, AStrangersThawBreaksItForGood) {
    FreezeWindow window;
    window.open(kStart);
    window.breakOpen();
    window.close(ThawOutcome::kDone, kStart + 5ms);
    EXPECT_EQ(window.state(), WindowState::kBroken);
}

}  // namespace
}  // namespace tarnctl
