// The host is killed at each point of a freeze.
#include <chrono>
#include <csignal>
#include <thread>

#include "host/guard/guard_fixture.h"

namespace tarnctl {
namespace {

using namespace std::chrono_literals;

class GuardKillTest : public GuardTest {
  protected:
    enum class Point { kArmed, kAnnounced, kFrozenNotTold, kFrozen, kThawed, kReleased };

    // Kills the host at the point and answers whether its guard ended within the time.
    bool killAt(Point point, const GuardLimits& limits, std::chrono::milliseconds guardEndsWithin) {
        HostChild host([&](const HostChild::Say& say) { return runTo(point, limits, say); });
        const auto guardPid = host.hear();
        if (!guardPid) {
            ADD_FAILURE() << "the host did not arm, exit " << host.await();
            return false;
        }
        const WatchedProcess guard(*guardPid);
        if (host.hear() != 1) {
            ADD_FAILURE() << "the host did not reach the point, exit " << host.await();
            return false;
        }
        beforeKill_();
        host.kill();
        return !guard.isOpen() || guard.awaitEnd(guardEndsWithin);
    }

    int runTo(Point point, const GuardLimits& limits, const HostChild::Say& say) {
        FreezeGuard guard = armOrExit(held(), limits);
        say(guard.pid());
        if (point >= Point::kAnnounced) {
            announceOrExit(guard);
        }
        if (point >= Point::kFrozenNotTold && point != Point::kReleased) {
            freezeOrExit(held());
        }
        if (point >= Point::kFrozen && point != Point::kReleased && !guard.tellFrozen()) {
            return 93;
        }
        if (point == Point::kThawed && thaw() != ThawOutcome::kDone) {
            return 94;
        }
        if (point == Point::kReleased && !guard.release()) {
            return 95;
        }
        say(1);
        pause();
        return 96;
    }

    std::function<void()> beforeKill_ = [] {};
};

TEST_F(GuardKillTest, ArmedEndsWithTheHostAndLeavesAForeignFreeze) {
    beforeKill_ = [this] { ASSERT_EQ(freeze(), FreezeOutcome::kDone); };
    EXPECT_TRUE(killAt(Point::kArmed, {}, 1s));
    EXPECT_EQ(thaw(), ThawOutcome::kDone) << "the guard thawed what was not ours";
}

TEST_F(GuardKillTest, AnnouncedButNeverFrozenTriesUntilTheCommandsLimit) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(killAt(Point::kAnnounced, {.command = 400ms}, 2s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

TEST_F(GuardKillTest, AnnouncedOwnFreezeNeedsOneTryOnly) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(killAt(Point::kAnnounced, {.by = FreezeBy::kHost, .command = 20s}, 1s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

TEST_F(GuardKillTest, FrozenButNotToldIsThawed) {
    beforeKill_ = [this] { ASSERT_EQ(proof(), FrozenProof::kFrozen); };
    EXPECT_TRUE(killAt(Point::kFrozenNotTold, {}, 1s));
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

TEST_F(GuardKillTest, FrozenIsThawed) {
    beforeKill_ = [this] { ASSERT_EQ(proof(), FrozenProof::kFrozen); };
    EXPECT_TRUE(killAt(Point::kFrozen, {}, 1s));
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

TEST_F(GuardKillTest, ThawedButNotReleasedEndsQuietly) {
    EXPECT_TRUE(killAt(Point::kThawed, {}, 1s));
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

TEST_F(GuardKillTest, ReleasedNeverThaws) {
    beforeKill_ = [this] { ASSERT_EQ(freeze(), FreezeOutcome::kDone); };
    EXPECT_TRUE(killAt(Point::kReleased, {}, 1s));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(thaw(), ThawOutcome::kDone) << "a released guard thawed";
}

// The freeze command survives the host and freezes only after its death: one early thaw would come too soon.
TEST_F(GuardKillTest, AFreezeThatCompletesAfterTheDeathIsThawed) {
    std::unique_ptr<HostChild> command;
    beforeKill_ = [&] {
        command = std::make_unique<HostChild>([this](const HostChild::Say&) {
            std::this_thread::sleep_for(300ms);
            freezeOrExit(held());
            return 0;
        });
    };
    EXPECT_TRUE(killAt(Point::kAnnounced, {.command = 10s}, 3s)) << "the guard did not see the late freeze";
    EXPECT_EQ(command->await(), 0) << "the late freeze did not happen";
    EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
}

// The real command, still starting when the host dies.
TEST_F(GuardKillTest, TheFreezeCommandOfADeadHostIsUndone) {
    for (int round = 0; round < 5; ++round) {
        std::unique_ptr<HostChild> command;
        beforeKill_ = [&] {
            command = std::make_unique<HostChild>([this](const HostChild::Say&) {
                return runCommand({"/usr/sbin/xfs_freeze", "-f", scratch_->mountPoint()});
            });
        };
        EXPECT_TRUE(killAt(Point::kAnnounced, {.command = 10s}, 3s));
        EXPECT_EQ(command->await(), 0);
        EXPECT_EQ(proof(), FrozenProof::kNotFrozen);
    }
}

TEST_F(GuardKillTest, KilledAtAnyMomentNothingStaysFrozen) {
    int frozenWhenKilled = 0;
    for (int round = 0; round < 40; ++round) {
        const GuardLimits limits{.by = round % 2 == 0 ? FreezeBy::kHost : FreezeBy::kCommand, .command = 150ms};
        HostChild host([&](const HostChild::Say& say) {
            while (true) {
                FreezeGuard guard = armOrExit(held(), limits);
                say(guard.pid());
                announceOrExit(guard);
                freezeOrExit(held());
                if (!guard.tellFrozen()) {
                    return 93;
                }
                std::this_thread::sleep_for(15ms);
                guard.noteThaw(thaw());
                if (!guard.release() || guard.window().state() != WindowState::kUnbroken) {
                    return 94;
                }
            }
        });
        const auto guardPid = host.hear();
        ASSERT_TRUE(guardPid) << host.await();
        std::this_thread::sleep_for(std::chrono::milliseconds(round * 3));
        host.signal(SIGSTOP);
        frozenWhenKilled += proof() == FrozenProof::kFrozen ? 1 : 0;
        host.kill();
        // Whatever guard there was is a child of ours now.
        for (int waits = 0; waitpid(-1, nullptr, WNOHANG) >= 0; ++waits) {
            ASSERT_LT(waits, 2000) << "a guard is still there";
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen) << "round " << round;
    }
    EXPECT_GT(frozenWhenKilled, 0) << "no kill hit a frozen file system: this run proved nothing";
    RecordProperty("frozenWhenKilled", frozenWhenKilled);
}

}  // namespace
}  // namespace tarnctl
