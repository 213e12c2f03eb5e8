// What guard and living host tell each other: release, deadlines, the guard's death.
#include "host/guard/freeze_guard.h"

#include <linux/capability.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include "host/guard/guard_fixture.h"

namespace tarnctl {
namespace {

using namespace std::chrono_literals;

class FreezeGuardTest : public GuardTest {
  protected:
    FreezeGuard arm(const GuardLimits& limits = {}) {
        auto guard = FreezeGuard::arm(held(), limits);
        if (!guard) {
            throw std::runtime_error(guard.failure().cause);
        }
        return std::move(*guard);
    }
    static bool awaitReadable(int fd, std::chrono::milliseconds limit) {
        pollfd watched{fd, POLLIN, 0};
        return poll(&watched, 1, static_cast<int>(limit.count())) > 0;
    }
};

TEST_F(FreezeGuardTest, AnUnbrokenWindowIsProvedAndTheGuardIsGone) {
    FreezeGuard guard = arm();
    const pid_t pid = guard.pid();
    EXPECT_TRUE(guard.isAlive());
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_TRUE(guard.tellFrozen());
    EXPECT_EQ(proof(), FrozenProof::kFrozen);
    EXPECT_EQ(guard.window().state(), WindowState::kOpen);
    guard.noteThaw(thaw());
    EXPECT_TRUE(guard.release());
    EXPECT_EQ(guard.window().state(), WindowState::kUnbroken);
    EXPECT_GT(guard.window().duration(), 0ns);
    EXPECT_FALSE(guard.report());
    EXPECT_FALSE(guard.isAlive());
    EXPECT_EQ(kill(pid, 0), -1) << "the guard is still there, at least as a zombie";
    EXPECT_EQ(errno, ESRCH);
    EXPECT_TRUE(guard.release()) << "a second release must be harmless";
}

TEST_F(FreezeGuardTest, ReleaseNeverThaws) {
    FreezeGuard guard = arm({.frozen = 50ms});
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    EXPECT_TRUE(guard.release());
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(thaw(), ThawOutcome::kDone);
}

TEST_F(FreezeGuardTest, AForeignFreezeIsNeverThawedBeforeOurs) {
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    {
        FreezeGuard released = arm({.frozen = 50ms, .freezing = 50ms});
        std::this_thread::sleep_for(150ms);
        EXPECT_TRUE(released.release());
        const FreezeGuard destroyed = arm({.frozen = 50ms, .freezing = 50ms});
    }
    EXPECT_EQ(thaw(), ThawOutcome::kDone);
}

TEST_F(FreezeGuardTest, DestroyedInTheWindowItThaws) {
    {
        FreezeGuard guard = arm();
        ASSERT_TRUE(guard.announceFreezing());
        ASSERT_EQ(freeze(), FreezeOutcome::kDone);
        ASSERT_TRUE(guard.tellFrozen());
    }
    EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen);
}

TEST_F(FreezeGuardTest, AStoppedHostIsThawedAtTheDeadlineAndLearnsIt) {
    HostChild host([this](const HostChild::Say& say) {
        FreezeGuard guard = armOrExit(held(), {.frozen = 300ms});
        announceOrExit(guard);
        freezeOrExit(held());
        if (!guard.tellFrozen()) {
            return 93;
        }
        say(1);
        raise(SIGSTOP);
        // Continued: what the host sees now.
        const auto report = guard.report();
        const ThawOutcome ownThaw = thaw();
        guard.noteThaw(ownThaw);
        const bool isBroken = guard.window().state() == WindowState::kBroken;
        const bool isReleased = static_cast<bool>(guard.release());
        return report && report->act == GuardReport::Act::kThawed && ownThaw == ThawOutcome::kWasNotFrozen &&
                       isBroken && isReleased
                   ? 0
                   : 94;
    });
    ASSERT_EQ(host.hear(), 1);
    EXPECT_EQ(proof(), FrozenProof::kFrozen);
    std::this_thread::sleep_for(600ms);
    EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen) << "the deadline passed and it is still frozen";
    host.signal(SIGCONT);
    EXPECT_EQ(host.await(), 0);
}

TEST_F(FreezeGuardTest, AHostThatDiesAfterTheDeadlineLeavesNothingFrozen) {
    HostChild host([this](const HostChild::Say& say) {
        FreezeGuard guard = armOrExit(held(), {.frozen = 50ms});
        say(guard.pid());
        announceOrExit(guard);
        freezeOrExit(held());
        if (!guard.tellFrozen() || !awaitReadable(guard.eventFd(), 2s)) {
            return 93;
        }
        // As its proof of the freeze would do after it was thawed behind its back.
        freezeOrExit(held());
        say(1);
        pause();
        return 94;
    });
    const auto guardPid = host.hear();
    ASSERT_TRUE(guardPid);
    const WatchedProcess guard(*guardPid);
    ASSERT_EQ(host.hear(), 1);
    host.kill();
    EXPECT_TRUE(guard.awaitEnd(1s));
    EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen);
}

TEST_F(FreezeGuardTest, AFreezeThatComesAfterItsDeadlineIsThawedAndReported) {
    FreezeGuard guard = arm({.freezing = 100ms, .command = 10s});
    ASSERT_TRUE(guard.announceFreezing());
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(guard.report()) << "nothing was frozen yet, so nothing can have been thawed";
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_TRUE(awaitReadable(guard.eventFd(), 1s));
    EXPECT_FALSE(guard.tellFrozen());
    ASSERT_TRUE(guard.report());
    EXPECT_EQ(guard.report()->act, GuardReport::Act::kThawed);
    EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen);
    EXPECT_EQ(guard.window().state(), WindowState::kBroken);
    EXPECT_TRUE(guard.release());
}

TEST_F(FreezeGuardTest, AFreezeThatNeverComesIsGivenUp) {
    FreezeGuard guard = arm({.freezing = 50ms, .command = 200ms});
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_TRUE(awaitReadable(guard.eventFd(), 2s));
    ASSERT_TRUE(guard.report());
    EXPECT_EQ(guard.report()->act, GuardReport::Act::kGaveUp);
    EXPECT_EQ(guard.report()->error, EINVAL);
    EXPECT_TRUE(guard.isAlive()) << "it stays for the host's death";
    EXPECT_TRUE(guard.release());
}

TEST_F(FreezeGuardTest, AStrangersThawIsFoundAtTheDeadline) {
    FreezeGuard guard = arm({.frozen = 100ms});
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_TRUE(guard.tellFrozen());
    ASSERT_EQ(thaw(), ThawOutcome::kDone);
    ASSERT_TRUE(awaitReadable(guard.eventFd(), 1s));
    ASSERT_TRUE(guard.report());
    EXPECT_EQ(guard.report()->act, GuardReport::Act::kFoundThawed);
    EXPECT_EQ(guard.window().state(), WindowState::kBroken);
    EXPECT_TRUE(guard.release());
}

TEST_F(FreezeGuardTest, TheDeadlineCountsFromTheCompletedFreeze) {
    FreezeGuard guard = arm({.frozen = 10s});
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_TRUE(guard.tellFrozen(FreezeWindow::Clock::now() - 9s));
    EXPECT_TRUE(awaitReadable(guard.eventFd(), 3s));
    EXPECT_EQ(thaw(), ThawOutcome::kWasNotFrozen);
    EXPECT_TRUE(guard.release());
}

TEST_F(FreezeGuardTest, TheGuardsDeathIsKnownAtOnce) {
    FreezeGuard guard = arm();
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_EQ(kill(guard.pid(), SIGKILL), 0);
    EXPECT_TRUE(awaitReadable(guard.deathFd(), 100ms));
    EXPECT_FALSE(guard.isAlive());
    const Status told = guard.tellFrozen();
    ASSERT_FALSE(told);
    EXPECT_EQ(told.failure().subject, scratch_->mountPoint());
    guard.noteThaw(thaw());
    EXPECT_FALSE(guard.release());
    EXPECT_FALSE(guard.isAlive());
}

// Stopped it is alive and reads no order; killed then, it ends as quickly as one that obeys.
TEST_F(FreezeGuardTest, AGuardKilledJustBeforeItsReleaseIsNoticed) {
    FreezeGuard guard = arm();
    ASSERT_TRUE(guard.announceFreezing());
    ASSERT_EQ(freeze(), FreezeOutcome::kDone);
    ASSERT_TRUE(guard.tellFrozen());
    guard.noteThaw(thaw());
    const pid_t pid = guard.pid();
    ASSERT_EQ(kill(pid, SIGSTOP), 0);
    ASSERT_TRUE(guard.isAlive());
    HostChild killer([pid](const HostChild::Say&) {
        std::this_thread::sleep_for(200ms);
        return kill(pid, SIGKILL);
    });
    const Status released = guard.release();
    ASSERT_FALSE(released);
    EXPECT_NE(released.failure().cause.find("the freeze was unguarded for a while"), std::string::npos)
        << released.failure().cause;
    EXPECT_EQ(killer.await(), 0);
    EXPECT_EQ(guard.pid(), 0);
}

TEST_F(FreezeGuardTest, WithoutAGuardNothingIsAnnounced) {
    FreezeGuard guard = arm();
    ASSERT_EQ(kill(guard.pid(), SIGKILL), 0);
    ASSERT_TRUE(awaitReadable(guard.deathFd(), 100ms));
    EXPECT_FALSE(guard.announceFreezing());
}

TEST_F(FreezeGuardTest, AStoppedGuardIsNoGuard) {
    FreezeGuard guard = arm({.answer = 100ms});
    ASSERT_EQ(kill(guard.pid(), SIGSTOP), 0);
    EXPECT_FALSE(guard.announceFreezing());
    EXPECT_FALSE(guard.release()) << "it had to be killed, and that is said";
    EXPECT_EQ(guard.pid(), 0);
}

TEST_F(FreezeGuardTest, OneGuardServesOneFreezeInOrder) {
    FreezeGuard guard = arm();
    EXPECT_FALSE(guard.tellFrozen()) << "not announced";
    ASSERT_TRUE(guard.announceFreezing());
    EXPECT_FALSE(guard.announceFreezing());
    EXPECT_TRUE(guard.release());
}

TEST_F(FreezeGuardTest, ArmsWhileOtherThreadsAllocate) {
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&isOver] {
            while (!isOver) {
                std::vector<std::string> garbage(64, std::string(100, 'x'));
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        auto guard = FreezeGuard::arm(held());
        EXPECT_TRUE(guard && guard->announceFreezing() && guard->release()) << "round " << round;
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(FreezeGuardTest, RefusesTheRootFileSystem) {
    auto root = HeldDirectory::open("/");
    ASSERT_TRUE(root) << root.failure().cause;
    const auto guard = FreezeGuard::arm(*root);
    ASSERT_FALSE(guard);
    EXPECT_EQ(guard.failure().code, ExitCode::kUnsupported);
}

// Without the privilege to lock memory there is no guard, and the failure says what is missing.
TEST_F(FreezeGuardTest, ArmingFailsWhereMemoryCannotBeLocked) {
    if (isSanitized()) {
        GTEST_SKIP() << "sanitizers replace mlockall";
    }
    HostChild host([this](const HostChild::Say&) {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2] = {};
        syscall(SYS_capget, &header, data);
        data[0].effective &= ~(1U << CAP_IPC_LOCK);
        data[0].permitted &= ~(1U << CAP_IPC_LOCK);
        const rlimit none{0, 0};
        if (syscall(SYS_capset, &header, data) != 0 || setrlimit(RLIMIT_MEMLOCK, &none) != 0) {
            return 90;
        }
        const auto guard = FreezeGuard::arm(held());
        if (guard) {
            return 91;
        }
        const bool saysWhy = guard.failure().cause.find("lock its memory") != std::string::npos;
        return saysWhy && waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? 0 : 92;
    });
    EXPECT_EQ(host.await(), 0);
}

}  // namespace
}  // namespace tarnctl
