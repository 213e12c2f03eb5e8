// The clock of one freeze: when it was complete, when it ended, and whether it held in between. Monotonic time.
// Not thread-safe; belongs to the thread that freezes and thaws.
#pragma once

#include <chrono>
#include <optional>

#include "host/freeze/fs_freeze.h"

namespace tarnctl {

enum class WindowState {
    kNotOpened,  // no freeze was completed
    kOpen,       // frozen, not thawed by us yet
    kUnbroken,   // our own thaw ended our own freeze
    kBroken,     // somebody (the guard or a stranger) thawed before us: the snapshot is not of a frozen file system
};

class FreezeWindow {
  public:
    using Clock = std::chrono::steady_clock;

    void open(Clock::time_point frozenAt) { frozenAt_ = frozenAt; }
    // The first call counts. A thaw that answered anything but done says that the freeze did not hold until then.
    void close(ThawOutcome outcome, Clock::time_point thawedAt) {
        if (!thawedAt_) {
            thawedAt_ = thawedAt;
            isThawOurs_ = outcome == ThawOutcome::kDone;
        }
    }
    // Somebody else was seen to have ended the freeze.
    void breakOpen() { isBroken_ = true; }

    WindowState state() const {
        if (!frozenAt_) {
            return WindowState::kNotOpened;
        }
        if (isBroken_ || (thawedAt_ && !isThawOurs_)) {
            return WindowState::kBroken;
        }
        return thawedAt_ ? WindowState::kUnbroken : WindowState::kOpen;
    }
    bool isClosedByUs() const { return thawedAt_ && isThawOurs_; }
    // How long the file system stood still, from the completed freeze to our thaw; none before both are known.
    std::optional<Clock::duration> duration() const {
        return frozenAt_ && thawedAt_ ? std::optional(*thawedAt_ - *frozenAt_) : std::nullopt;
    }
    std::optional<Clock::time_point> frozenAt() const { return frozenAt_; }
    std::optional<Clock::time_point> thawedAt() const { return thawedAt_; }

  private:
    std::optional<Clock::time_point> frozenAt_;
    std::optional<Clock::time_point> thawedAt_;
    bool isThawOurs_ = false;
    bool isBroken_ = false;
};

}  // namespace tarnctl
