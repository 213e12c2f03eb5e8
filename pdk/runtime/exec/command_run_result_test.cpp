#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "command_run_testing.h"
#include "descriptor.h"

namespace znfi_runtime {
namespace {

// A file in the temporary folder with this content and mode, removed at the end.
class ScratchFile {
  public:
    ScratchFile(const std::string& content, mode_t mode) {
        char name[] = "/tmp/tarnfi-test-exec-XXXXXX";
        ::close(::mkstemp(name));
        path_ = name;
        std::ofstream(path_) << content;
        ::chmod(name, mode);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// Another disposition of SIGCHLD while it lives.
class ChildSignal {
  public:
    explicit ChildSignal(void (*handler)(int), int flags = 0) {
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        ::sigaction(SIGCHLD, &action, &before_);
    }
    ChildSignal(const ChildSignal&) = delete;
    ChildSignal& operator=(const ChildSignal&) = delete;
    ~ChildSignal() { ::sigaction(SIGCHLD, &before_, nullptr); }

  private:
    struct sigaction before_ {};
};

// Leaves exactly `count` descriptors free while it lives.
class FewDescriptors {
  public:
    explicit FewDescriptors(int count) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit tight{64, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &tight);
        for (Descriptor one(::dup(0)); one; one = Descriptor(::dup(0))) {
            held_.push_back(std::move(one));
        }
        held_.resize(held_.size() - static_cast<std::size_t>(count));
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
    std::vector<Descriptor> held_;
};

TEST(CommandResult, MissingProgramIsSeven) {
    const ScratchFile file("", 0755);
    for (const std::string& line : {std::string("/nonexistent/program"), std::string("true"), std::string("\"\""),
                                    file.path() + "/below", std::string("/bin/true\targument")}) {
        const Ran ran = run(line);
        EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST) << line;
        EXPECT_EQ(ran.outcome.exitStatus, 0);
        EXPECT_TRUE(ran.lines.empty());
    }
}

TEST(CommandResult, MissingInterpreterIsSeven) {
    const ScratchFile file("#!/nonexistent/interpreter\n", 0755);
    EXPECT_EQ(run(file.path()).outcome.code, ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST);
}

TEST(CommandResult, NotExecutableIsFour) {
    const ScratchFile noPermission("#!/bin/sh\n", 0644);
    const ScratchFile noFormat("just text\n", 0755);
    for (const std::string& line : {noPermission.path(), noFormat.path(), std::string("/tmp")}) {
        EXPECT_EQ(run(line).outcome.code, ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED) << line;
    }
}

TEST(CommandResult, ArgumentsTooLongAreFour) {
    EXPECT_EQ(run("/bin/true " + std::string(300000, 'x')).outcome.code, ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED);
}

TEST(CommandResult, LineThatCannotBeParsedIsSix) {
    for (const char* line : {"", "   ", "/bin/true \"a", "\""}) {
        EXPECT_EQ(run(line).outcome.code, ZFI_EXEC_PIPE_PARSE_COMMAND_FAILED) << line;
    }
}

TEST(CommandResult, NoPipeIsOne) {
    const FewDescriptors one(1);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_CREATE_PIPE_FAILED);
}

TEST(CommandResult, NoDescriptorForStandardInputIsEight) {
    const FewDescriptors two(2);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_ERROR_UNEXPECTED);
}

TEST(CommandResult, RunsWithTheFourLastDescriptors) {
    const FewDescriptors four(4);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_SUCCESS);
}

TEST(CommandResult, EveryExitStatusIsElevenAndKept) {
    for (int status = 1; status <= 255; ++status) {
        const Ran ran = run("/bin/sh -c \"exit " + std::to_string(status) + "\"");
        EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_CMD_FAILED) << status;
        EXPECT_EQ(ran.outcome.exitStatus, status);
    }
}

TEST(CommandResult, EveryFatalSignalIsTwelve) {
    const std::set<int> harmless{SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG, SIGWINCH};
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (harmless.contains(signal) || (signal >= __SIGRTMIN && signal < SIGRTMIN)) {
            continue;
        }
        const Ran ran = run("/bin/sh -c \"ulimit -c 0; kill -" + std::to_string(signal) + " $$\"");
        EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_CMD_KILLED) << signal;
        EXPECT_EQ(ran.outcome.signal, signal);
        EXPECT_EQ(ran.outcome.exitStatus, 0);
    }
}

TEST(CommandResult, StatusLostToAnIgnoredChildSignalIsThirteen) {
    const ChildSignal ignored(SIG_IGN);
    for (const char* line : {"/bin/true", "/bin/false", "/bin/sh -c \"sleep 0.2 >/dev/null 2>&1 <&1; exit 0\""}) {
        EXPECT_EQ(run(line).outcome.code, ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED) << line;
    }
}

TEST(CommandResult, StatusLostToChildrenNotKeptIsThirteen) {
    const ChildSignal notKept(SIG_DFL, SA_NOCLDWAIT);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED);
}

TEST(CommandResult, StatusTakenBySomebodyElsesWaitIsThirteen) {
    std::thread thief([] {
        while (::waitpid(-1, nullptr, 0) < 0) {
            ::usleep(1000);
        }
    });
    // The output ends half a second after the child, so the thief always comes first.
    EXPECT_EQ(run("/bin/sh -c \"sleep 0.5 & exit 0\"").outcome.code, ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED);
    thief.join();
}

TEST(CommandResult, OtherChildrenOfTheCallerAreLeftAlone) {
    pid_t other = 0;
    char program[] = "/bin/false";
    char* const arguments[] = {program, nullptr};
    ASSERT_EQ(::posix_spawn(&other, program, nullptr, nullptr, arguments, nullptr), 0);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    int status = 0;
    EXPECT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

}  // namespace
}  // namespace znfi_runtime
