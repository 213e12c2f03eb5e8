// What the guard process is, seen from outside: what it holds, what it blocks, which system calls it makes.
#include <dirent.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "host/guard/guard_fixture.h"

namespace tarnctl {
namespace {

using namespace std::chrono_literals;

std::string procPath(pid_t pid, const std::string& name) {
    return "/proc/" + std::to_string(pid) + "/" + name;
}

std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// The value of "Key:" in /proc/PID/status, without blanks around it.
std::string statusOf(pid_t pid, const std::string& key) {
    std::ifstream file(procPath(pid, "status"));
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key + ":", 0) == 0) {
            const auto start = line.find_first_not_of(" \t", key.size() + 1);
            return start == std::string::npos ? "" : line.substr(start);
        }
    }
    return "";
}

long kibibytes(pid_t pid, const std::string& key) {
    return std::stol(statusOf(pid, key));
}

// Major faults: pages that had to come from a disk.
long majorFaults(pid_t pid) {
    std::istringstream fields(firstLine(procPath(pid, "stat")));
    std::string field;
    for (int i = 0; i < 12; ++i) {
        fields >> field;
    }
    return std::stol(field);
}

class GuardProcessTest : public GuardTest {
  protected:
    void SetUp() override {
        GuardTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        auto guard = FreezeGuard::arm(held(), {.frozen = 100ms});
        ASSERT_TRUE(guard) << guard.failure().cause;
        guard_ = std::make_unique<FreezeGuard>(std::move(*guard));
    }
    void TearDown() override {
        guard_.reset();
        GuardTest::TearDown();
    }

    // The whole life up to a thaw at the deadline.
    void liveThroughADeadline() {
        ASSERT_TRUE(guard_->announceFreezing());
        ASSERT_EQ(freeze(), FreezeOutcome::kDone);
        ASSERT_TRUE(guard_->tellFrozen());
        pollfd watched{guard_->eventFd(), POLLIN, 0};
        ASSERT_EQ(poll(&watched, 1, 2000), 1);
        ASSERT_EQ(thaw(), ThawOutcome::kWasNotFrozen);
    }

    std::unique_ptr<FreezeGuard> guard_;
};

TEST_F(GuardProcessTest, HoldsItsFourDescriptorsAndNothingElse) {
    std::map<std::string, int> kinds;
    for (const auto& entry : std::filesystem::directory_iterator(procPath(guard_->pid(), "fd"))) {
        const std::string target = std::filesystem::read_symlink(entry.path());
        const bool isPidfd = target.find("pidfd") != std::string::npos;
        ++kinds[isPidfd ? "pidfd" : target.substr(0, target.rfind("pipe:", 0) == 0 ? 4 : std::string::npos)];
    }
    const std::map<std::string, int> expected{{"pipe", 2}, {"pidfd", 1}, {scratch_->mountPoint(), 1}};
    EXPECT_EQ(kinds, expected);
    EXPECT_EQ(std::filesystem::read_symlink(procPath(guard_->pid(), "cwd")), "/");
}

TEST_F(GuardProcessTest, BlocksEverySignalThatCanBeBlocked) {
    // All 64 but SIGKILL and SIGSTOP.
    EXPECT_EQ(statusOf(guard_->pid(), "SigBlk"), "fffffffffffbfeff");
    for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGQUIT, SIGUSR1, SIGPIPE, SIGALRM, 32, 33, SIGRTMAX}) {
        EXPECT_EQ(kill(guard_->pid(), number), 0);
    }
    EXPECT_TRUE(guard_->announceFreezing()) << "a signal ended it";
    EXPECT_TRUE(guard_->release());
}

TEST_F(GuardProcessTest, IsASessionOfItsOwnUnderItsOwnName) {
    EXPECT_EQ(getsid(guard_->pid()), guard_->pid());
    EXPECT_EQ(firstLine(procPath(guard_->pid(), "comm")), "tarnctl-guard");
    EXPECT_EQ(statusOf(guard_->pid(), "Threads"), "1");
    EXPECT_EQ(std::filesystem::read_symlink(procPath(guard_->pid(), "exe")),
              std::filesystem::read_symlink("/proc/self/exe"));
}

TEST_F(GuardProcessTest, IsTheLastThatMemoryShortageKills) {
    HostChild probe([](const HostChild::Say&) {
        return std::ofstream("/proc/self/oom_score_adj") << "-1000" << std::flush ? 0 : 1;
    });
    if (probe.await() != 0) {
        GTEST_SKIP() << "needs CAP_SYS_RESOURCE: this machine does not let oom_score_adj be lowered";
    }
    EXPECT_EQ(firstLine(procPath(guard_->pid(), "oom_score_adj")), "-1000");
}

TEST_F(GuardProcessTest, LocksItsMemoryAndNeedsNoMoreOfItLater) {
    if (isSanitized()) {
        GTEST_SKIP() << "sanitizers replace mlockall";
    }
    EXPECT_GT(kibibytes(guard_->pid(), "VmLck"), 0);
    const long sizeBefore = kibibytes(guard_->pid(), "VmSize");
    const long faultsBefore = majorFaults(guard_->pid());
    liveThroughADeadline();
    EXPECT_EQ(kibibytes(guard_->pid(), "VmSize"), sizeBefore) << "it allocated";
    EXPECT_EQ(majorFaults(guard_->pid()), faultsBefore) << "it read from a disk";
    RecordProperty("lockedKiB", std::to_string(kibibytes(guard_->pid(), "VmLck")));
    RecordProperty("residentKiB", std::to_string(kibibytes(guard_->pid(), "VmRSS")));
}

TEST_F(GuardProcessTest, MakesNoOtherSystemCallsThanItsWork) {
    if (isSanitized()) {
        GTEST_SKIP() << "sanitizers add system calls of their own";
    }
    if (access("/usr/bin/strace", X_OK) != 0) {
        GTEST_SKIP() << "needs strace";
    }
    std::string log = "/var/tmp/tarnfi-test-strace-" + std::to_string(getpid());
    HostChild tracer([&](const HostChild::Say&) {
        return runCommand({"/usr/bin/strace", "-qq", "-o", log, "-p", std::to_string(guard_->pid())});
    });
    for (int waits = 0; statusOf(guard_->pid(), "TracerPid") == "0"; ++waits) {
        ASSERT_LT(waits, 500) << "strace does not attach";
        std::this_thread::sleep_for(10ms);
    }
    liveThroughADeadline();
    EXPECT_TRUE(guard_->release());
    EXPECT_EQ(tracer.await(), 0);
    std::set<std::string> calls;
    std::ifstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        calls.insert(line.substr(0, line.find_first_of("( ")));
    }
    unlink(log.c_str());
    calls.erase("restart_syscall");  // the poll in which strace found it
    const std::set<std::string> expected{"poll", "read", "write", "ioctl", "exit_group"};
    EXPECT_EQ(calls, expected);
}

}  // namespace
}  // namespace tarnctl
