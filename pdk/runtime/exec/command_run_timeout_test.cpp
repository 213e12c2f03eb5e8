#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <fstream>
#include <string>
#include <vector>

#include "abandoned_children.h"
#include "command_run_testing.h"

namespace znfi_runtime {
namespace {

using Lines = std::vector<std::string>;

// Gone, or dead and only waiting for whoever inherited it.
bool isGone(const std::string& id) {
    std::ifstream stat("/proc/" + id + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t name = text.rfind(") ");
    return name == std::string::npos || text[name + 2] == 'Z' || text[name + 2] == 'X';
}

bool hasNoChild() {
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

TEST(CommandTimeOut, CommandThatObeysTermEndsAtTheDeadline) {
    const Ran ran = run("/bin/sh -c \"echo $$; sleep 1000\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_EQ(ran.outcome.exitStatus, 0);
    EXPECT_GE(ran.seconds, 1.0);
    EXPECT_LT(ran.seconds, 6.0);  // some hosts' init takes its time to reap the orphan, which still counts as a member
    ASSERT_EQ(ran.lines.size(), 1U);
    EXPECT_TRUE(isGone(ran.lines[0]));
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, NoTimeIsATimeOut) {
    EXPECT_EQ(run("/bin/sleep 1000", 0).outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, EndlessTimeIsNoTimeOut) {
    EXPECT_EQ(run("/bin/true", ULONG_MAX).outcome.code, ZFI_EXEC_PIPE_SUCCESS);
}

TEST(CommandTimeOut, WhatIsPrintedOnTermIsCollected) {
    const Ran ran = run("/bin/sh -c \"trap 'echo ending; exit 0' TERM; echo begun; while :; do sleep 0.1; done\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_EQ(ran.lines.front(), "begun");
    EXPECT_EQ(ran.lines.back(), "ending");
}

TEST(CommandTimeOut, FloodOfOutputDoesNotOutrunTheDeadline) {
    const Ran ran = run("/usr/bin/yes", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_LT(ran.seconds, 6.0);
    EXPECT_EQ(ran.lines.front(), "y");
}

TEST(CommandTimeOut, ChildIgnoringTermIsKilledAfterTwoSeconds) {
    const Ran ran = run("/bin/sh -c \"trap '' TERM; echo $$; while :; do sleep 1; done\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 3.0);
    EXPECT_LT(ran.seconds, 6.0);
    ASSERT_GE(ran.lines.size(), 1U);
    EXPECT_TRUE(isGone(ran.lines[0]));
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, StoppedChildIsKilled) {
    const Ran ran = run("/bin/sh -c \"kill -STOP $$\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 3.0);
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, ChildWithoutOutputIsWaitedForToo) {
    const Ran ran = run("/bin/sh -c \"exec >/dev/null 2>&1; sleep 1000\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, GrandchildHoldingTheOutputKeepsTheCommandRunning) {
    const Ran brief = run("/bin/sh -c \"(sleep 0.5; echo late) & echo early\"");
    EXPECT_EQ(brief.outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(brief.lines, (Lines{"early", "late"}));

    const Ran ran = run("/bin/sh -c \"sleep 1000 & echo $$; echo $!\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 1.0);
    ASSERT_EQ(ran.lines.size(), 2U);
    EXPECT_TRUE(isGone(ran.lines[0]));
    EXPECT_TRUE(isGone(ran.lines[1]));
    EXPECT_TRUE(hasNoChild());
}

TEST(CommandTimeOut, GrandchildIgnoringTermDiesThoughItHoldsNoOutput) {
    const Ran ran = run("/bin/sh -c \"(trap '' TERM; exec sleep 1000) >/dev/null 2>&1 & echo $!; sleep 1000\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 3.0);
    ASSERT_EQ(ran.lines.size(), 1U);
    for (int turn = 0; turn < 100 && !isGone(ran.lines[0]); ++turn) {
        ::usleep(10000);
    }
    EXPECT_TRUE(isGone(ran.lines[0]));
}

TEST(CommandTimeOut, GrandchildIsKilledAlsoWhereTheChildsStatusIsLost) {
    ::signal(SIGCHLD, SIG_IGN);
    const Ran ran = run("/bin/sh -c \"sleep 1000 & echo $!\"", 1);
    ::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    ASSERT_EQ(ran.lines.size(), 1U);
    EXPECT_TRUE(isGone(ran.lines[0]));
}

// A process that left the group is beyond the runner's reach: it neither dies nor keeps the caller for long.
TEST(CommandTimeOut, ProcessThatLeftTheGroupDelaysByFiveSecondsAtMost) {
    const Ran ran = run("/bin/sh -c \"setsid sleep 30 & echo $!\"", 1);
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 8.0);
    EXPECT_LT(ran.seconds, 12.0);
    EXPECT_TRUE(hasNoChild());
    ASSERT_EQ(ran.lines.size(), 1U);
    EXPECT_FALSE(isGone(ran.lines[0]));
    ::kill(std::stoi(ran.lines[0]), SIGKILL);
}

TEST(CommandTimeOut, ChildThatCannotBeReapedInTimeIsReapedByALaterRun) {
    const Ran ran = run(actor("held-when-dead"), 1);
    if (ran.outcome.code == ZFI_EXEC_PIPE_CMD_FAILED && ran.outcome.exitStatus == 3) {
        GTEST_SKIP() << "tracing a process is forbidden here, nothing else can hold a dead child";
    }
    EXPECT_EQ(ran.outcome.code, ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_GE(ran.seconds, 8.0);  // the whole ladder: 1 + 2 + 5
    EXPECT_LT(ran.seconds, 12.0);
    EXPECT_EQ(reapAbandoned(), 1U);
    EXPECT_FALSE(hasNoChild());
    ::sleep(4);
    EXPECT_EQ(run("/bin/true").outcome.code, ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(reapAbandoned(), 0U);
    EXPECT_TRUE(hasNoChild());
}

}  // namespace
}  // namespace znfi_runtime
