#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "command_run_testing.h"
#include "descriptor.h"

namespace znfi_runtime {
namespace {

using Lines = std::vector<std::string>;

// Sets a variable of the caller's environment while it lives.
class Variable {
  public:
    Variable(const char* name, const char* value) : name_(name) { ::setenv(name, value, 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { ::unsetenv(name_); }

  private:
    const char* name_;
};

TEST(CommandChild, ArgumentsArriveAsParsed) {
    EXPECT_EQ(run(actor("arguments \"a b\" \"\" c\"d e\"f g\th $HOME *")).lines,
              (Lines{"<a b>", "<>", "<cd ef>", "<g\th>", "<$HOME>", "<*>"}));
}

TEST(CommandChild, HasOnlyTheStandardDescriptors) {
    std::vector<Descriptor> held;
    for (int count = 0; count < 300; ++count) {
        held.emplace_back(::open("/dev/zero", O_RDONLY));  // not close-on-exec on purpose
    }
    held.emplace_back(::fcntl(0, F_DUPFD, 1000));
    ASSERT_TRUE(held.back());
    EXPECT_EQ(run(actor("open-descriptors")).lines, (Lines{"0", "1", "2"}));
}

TEST(CommandChild, OfAParallelRunGetsNoDescriptorOfThisOne) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 15; ++turn) {
                EXPECT_EQ(run(actor("open-descriptors")).lines, (Lines{"0", "1", "2"}));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(CommandChild, RunsForACallerWithoutStandardDescriptors) {
    Descriptor kept[3];
    for (int number = 0; number < 3; ++number) {
        kept[number] = Descriptor(::fcntl(number, F_DUPFD_CLOEXEC, 10));
        ASSERT_TRUE(kept[number]);
    }
    for (int number = 0; number < 3; ++number) {
        ::close(number);
    }
    const Ran ran = run("/bin/sh -c \"cat; echo out; echo error >&2\"");
    for (int number = 0; number < 3; ++number) {
        ::dup2(kept[number].number(), number);
    }
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(ran.lines, (Lines{"out", "error"}));
}

TEST(CommandChild, StandardInputIsEmpty) {
    EXPECT_EQ(run("/bin/readlink /proc/self/fd/0").lines, Lines{"/dev/null"});
    EXPECT_EQ(run("/bin/cat").outcome.code, ZFI_EXEC_PIPE_SUCCESS);
}

TEST(CommandChild, EnvironmentIsFixedWhateverTheCallersHolds) {
    const Variable preload("LD_PRELOAD", "/nonexistent/hostile.so");
    const Variable separators("IFS", "/");
    const Variable language("LANGUAGE", "de");
    const Variable search("ENV", "/nonexistent/hostile.sh");
    const std::string path = ::getenv("PATH") == nullptr ? "/bin" : ::getenv("PATH");
    ::setenv("PATH", "/nonexistent", 1);
    ::setenv("LANG", "de_DE.UTF-8", 1);
    const Ran ran = run("/usr/bin/env");
    ::setenv("PATH", path.c_str(), 1);
    ::unsetenv("LANG");
    Lines lines = ran.lines;
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (Lines{"LANG=C", "LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"}));
}

TEST(CommandChild, WorkingDirectoryIsTheRoot) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path("/tmp");
    const Ran ran = run("/bin/readlink /proc/self/cwd");
    std::filesystem::current_path(before);
    EXPECT_EQ(ran.lines, Lines{"/"});
}

TEST(CommandChild, SignalsAreNeitherBlockedNorIgnored) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before);
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGUSR1, SIGRTMIN + 3}) {
        ::signal(signal, SIG_IGN);
    }
    const Ran ran = run("/bin/grep -E \"^Sig(Blk|Ign)\" /proc/self/status");
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGUSR1, SIGRTMIN + 3}) {
        ::signal(signal, SIG_DFL);
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(ran.lines, (Lines{"SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000"}));
}

TEST(CommandChild, LeadsAProcessGroupOfItsOwn) {
    const Ran ran = run("/bin/sh -c \"read id name state parent group rest </proc/self/stat; echo $(($id - $group))\"");
    EXPECT_EQ(ran.lines, Lines{"0"});
}

TEST(CommandChild, SignalsThatTheCallerCatchesDoNotEndTheWait) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, &before);
    ::ualarm(2000, 2000);
    const Ran ran = run("/bin/sh -c \"sleep 0.3; echo done\"");
    ::ualarm(0, 0);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(ran.lines, Lines{"done"});
}

std::ptrdiff_t openDescriptorCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

TEST(CommandMany, TenThousandRunsLeaveNoChildAndNoDescriptor) {
    const std::ptrdiff_t before = openDescriptorCount();
    for (int turn = 0; turn < 10000; ++turn) {
        const bool missing = turn % 10 == 9;
        ASSERT_EQ(run(missing ? "/nonexistent" : "/bin/true").outcome.code,
                  missing ? ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST : ZFI_EXEC_PIPE_SUCCESS);
    }
    EXPECT_EQ(openDescriptorCount(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

}  // namespace
}  // namespace znfi_runtime
