// Processes contending for the rescan lock, in semaphores of the test's own.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "child.h"
#include "device_discovery_base.h"
#include "private_host.h"
#include "process_semaphore.h"
#include "trace_capture.h"

namespace {

constexpr key_t kKey = 1001;
constexpr int kLong = 5000;
constexpr int kShort = 200;

int existingSet() {
    return semget(kKey, 0, 0);
}

bool eventually(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool somebodyWaits(int set) {
    return eventually([set] { return semctl(set, 0, GETZCNT) == 1; });
}

int take(int set) {
    sembuf step{0, 1, SEM_UNDO};
    return semop(set, &step, 1);
}

// A discovery that finds nothing and looks at the lock while it does.
class EmptyDiscovery : public CDeviceDiscoveryBase {
  public:
    explicit EmptyDiscovery(std::function<void()> whileListing = [] {})
        : CDeviceDiscoveryBase("/nowhere"), whileListing_(std::move(whileListing)) {}
    std::vector<CScsiDeviceData*> listDevices() override {
        whileListing_();
        return {};
    }
    std::vector<CScsiDeviceData*> listDevicesByName(std::string) override { return {}; }
    int rescanHostBuses(bool) override { return 0; }

  private:
    std::function<void()> whileListing_;
};

int rescanAndSay(const std::function<void()>& say) {
    EmptyDiscovery discovery;
    discovery.rescan(false, false, false);
    say();
    return 0;
}

class RescanLock : public testing::Test {
  protected:
    void SetUp() override {
        if (!enterPrivateHost().empty()) {
            GTEST_SKIP() << "the rescan lock of this machine would be used: " << enterPrivateHost();
        }
        RemoveSet();
    }
    void TearDown() override { RemoveSet(); }

    static void RemoveSet() {
        if (const int set = existingSet(); set >= 0) {
            semctl(set, 0, IPC_RMID);
        }
    }

    // A process that holds the lock until it is killed.
    static std::unique_ptr<Child> holder() {
        auto child = std::make_unique<Child>([](const auto& say) {
            ProcessSemaphore semaphore(kKey);
            const auto hold = semaphore.acquire();
            if (hold) {
                say();
            }
            return pause();
        });
        EXPECT_TRUE(child->hasSaid(kLong));
        return child;
    }
};

TEST_F(RescanLock, TheSetIsOneSemaphoreThatEveryUserMayUse) {
    const Child child([](const auto& say) {
        ProcessSemaphore semaphore(kKey);
        say();
        return pause();
    });
    ASSERT_TRUE(child.hasSaid(kLong));
    semid_ds about{};
    ASSERT_EQ(semctl(existingSet(), 0, IPC_STAT, &about), 0);
    EXPECT_EQ(about.sem_nsems, 1U);
    EXPECT_EQ(about.sem_perm.mode & 0777, 0666);
    EXPECT_EQ(semctl(existingSet(), 0, GETVAL), 0);
}

TEST_F(RescanLock, IsHeldWhileTheWorkIsDoneAndGivenBack) {
    Child child([](const auto&) {
        int during = -1;
        EmptyDiscovery discovery([&during] { during = semctl(existingSet(), 0, GETVAL); });
        discovery.rescan(false, false, false);
        const int after = semctl(existingSet(), 0, GETVAL);
        EmptyDiscovery failing([] { throw 1; });
        failing.rescan(false, false, false);
        return during * 100 + after * 10 + semctl(existingSet(), 0, GETVAL);
    });
    EXPECT_EQ(child.join(), 100);
}

TEST_F(RescanLock, AFreeLockIsNotWaitedFor) {
    for (int round = 0; round < 2; ++round) {
        Child rescanning(rescanAndSay);
        EXPECT_EQ(rescanning.join(), 0);
    }
    EXPECT_EQ(semctl(existingSet(), 0, GETVAL), 0);
}

TEST_F(RescanLock, TheSecondWaitsUntilTheFirstReleases) {
    ProcessSemaphore semaphore(kKey);
    std::unique_ptr<Child> waiting;
    {
        const auto hold = semaphore.acquire();
        ASSERT_TRUE(hold);
        waiting = std::make_unique<Child>(rescanAndSay);
        ASSERT_TRUE(somebodyWaits(existingSet()));
        EXPECT_FALSE(waiting->hasSaid(kShort));
    }
    EXPECT_TRUE(waiting->hasSaid(kLong));
    EXPECT_EQ(waiting->join(), 0);
}

TEST_F(RescanLock, AKilledHolderGivesItBack) {
    const auto held = holder();
    Child waiting(rescanAndSay);
    ASSERT_TRUE(somebodyWaits(existingSet()));
    held->signal(SIGKILL);
    EXPECT_TRUE(waiting.hasSaid(kLong));
}

TEST_F(RescanLock, ASignalDoesNotEndTheWait) {
    const auto held = holder();
    Child waiting([](const auto& say) {
        struct sigaction caught {};
        caught.sa_handler = [](int) {};
        sigaction(SIGUSR1, &caught, nullptr);
        return rescanAndSay(say);
    });
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(somebodyWaits(existingSet()));
        waiting.signal(SIGUSR1);
    }
    EXPECT_FALSE(waiting.hasSaid(kShort));
    ASSERT_TRUE(somebodyWaits(existingSet()));
    held->signal(SIGKILL);
    EXPECT_TRUE(waiting.hasSaid(kLong));
}

TEST_F(RescanLock, TheEndOfAProcessRemovesTheSetThatAnotherHolds) {
    const auto held = holder();
    held->stop();
    Child ending(
        [](const auto&) {
            const int set = existingSet();
            semctl(set, 0, SETVAL, 0);  // so that this one gets through
            EmptyDiscovery discovery;
            discovery.rescan(false, false, false);
            return existingSet() == set ? 0 : 1;
        },
        Child::End::kAsPrograms);
    EXPECT_EQ(ending.join(), 0);
    EXPECT_EQ(existingSet(), -1);
    EXPECT_EQ(errno, ENOENT);
}

// Takes the set away from the waiting process, so that it finds a new one that is held as well.
void replaceHeldSet(const Child& waiting) {
    const int set = existingSet();
    ASSERT_TRUE(somebodyWaits(set));
    waiting.stop();
    ASSERT_EQ(semctl(set, 0, IPC_RMID), 0);
    ASSERT_EQ(take(semget(kKey, 1, IPC_CREAT | 0666)), 0);
    waiting.signal(SIGCONT);
}

constexpr char kGoesOn[] = "1|libscsitool: ERROR: CDeviceDiscoveryBase::rescan() goes on without the lock: ";

// 0 when the rescan wrote exactly one line of level 1, the one above, and did its work; 1 when it wrote none.
int levelOneLines(const std::function<void()>& say) {
    TraceCapture trace;
    bool hasListed = false;
    EmptyDiscovery discovery([&hasListed] { hasListed = true; });
    discovery.registerTraceLog(trace.log());
    discovery.rescan(false, false, false);
    say();
    int errors = 0;
    int expected = 0;
    for (const std::string& line : trace.lines()) {
        errors += line.starts_with("1|") ? 1 : 0;
        expected += line.starts_with(kGoesOn) ? 1 : 0;
    }
    if (!hasListed) {
        return 3;
    }
    return errors == 0 ? 1 : (errors == 1 && expected == 1 ? 0 : 2);
}

TEST_F(RescanLock, AWaitingOneTakesANewSetWhenItsOwnIsRemoved) {
    const auto held = holder();
    Child waiting(levelOneLines);
    const int set = existingSet();
    ASSERT_TRUE(somebodyWaits(set));
    ASSERT_EQ(semctl(set, 0, IPC_RMID), 0);
    EXPECT_EQ(waiting.join(), 1) << "it did not get the lock";
    EXPECT_GE(existingSet(), 0);
    EXPECT_NE(existingSet(), set);
}

TEST_F(RescanLock, TheEndOfAProcessRemovesTheSetThatAnotherWaitsFor) {
    Child ending(
        [](const auto& say) {
            sigset_t goOn;
            sigemptyset(&goOn);
            sigaddset(&goOn, SIGUSR1);
            sigprocmask(SIG_BLOCK, &goOn, nullptr);
            const int status = rescanAndSay(say);
            int number = 0;
            sigwait(&goOn, &number);
            return status;
        },
        Child::End::kAsPrograms);
    ASSERT_TRUE(ending.hasSaid(kLong));
    const auto held = holder();
    Child waiting(levelOneLines);
    const int set = existingSet();
    ASSERT_TRUE(somebodyWaits(set));
    ending.signal(SIGUSR1);
    EXPECT_EQ(ending.join(), 0);
    EXPECT_EQ(waiting.join(), 1) << "it did not get the lock";
    EXPECT_NE(existingSet(), set);
}

TEST_F(RescanLock, ThreeTimesASetThatVanishedIsWaitedForAgain) {
    ASSERT_EQ(take(semget(kKey, 1, IPC_CREAT | 0666)), 0);
    Child waiting(levelOneLines);
    for (int round = 0; round < 3; ++round) {
        replaceHeldSet(waiting);
    }
    ASSERT_TRUE(somebodyWaits(existingSet()));
    EXPECT_FALSE(waiting.hasSaid(kShort));
    ASSERT_EQ(semctl(existingSet(), 0, SETVAL, 0), 0);
    EXPECT_EQ(waiting.join(), 1);
}

TEST_F(RescanLock, TheFourthTimeTheRescanGoesOnWithOneLine) {
    ASSERT_EQ(take(semget(kKey, 1, IPC_CREAT | 0666)), 0);
    Child waiting(levelOneLines);
    for (int round = 0; round < 4; ++round) {
        replaceHeldSet(waiting);
    }
    EXPECT_EQ(waiting.join(), 0);
    EXPECT_EQ(semctl(existingSet(), 0, GETVAL), 1) << "what it did not take it must not give back";
}

TEST_F(RescanLock, WhereThereCanBeNoSetTheRescanGoesOnWithOneLine) {
    constexpr char kLimits[] = "/proc/sys/kernel/sem";
    std::string before;
    std::getline(std::ifstream(kLimits), before);
    if (!(std::ofstream(kLimits) << "32000 1024000000 500 0\n" << std::flush)) {
        GTEST_SKIP() << "the limits of these semaphores may not be changed";
    }
    Child rescanning(levelOneLines);
    EXPECT_EQ(rescanning.join(), 0);
    std::ofstream(kLimits) << before << '\n';
}

TEST(PosixSemaphore, LetsOneThreadInAtATime) {
    ProcessSemaphore semaphore;
    int inside = 0;
    int most = 0;
    int passes = 0;
    const auto work = [&] {
        for (int round = 0; round < 200; ++round) {
            const auto hold = semaphore.acquire();
            ++inside;
            most = std::max(most, inside);
            ++passes;
            std::this_thread::yield();
            --inside;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(most, 1);
    EXPECT_EQ(passes, 400);
}

}  // namespace
