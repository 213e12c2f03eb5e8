#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "trace/temporary_folder_testing.h"

namespace {

using znfi_testing::contentOf;
using znfi_testing::TemporaryFolder;

struct Outcome {
    int level;   // the threshold that the actor saw
    long lines;  // on standard error
};

Outcome runActor(const TemporaryFolder& folder, const std::string& environment) {
    const std::string errors = folder / "stderr";
    const std::string command = "env " + environment + " " ZNFI_TRACE_START_ACTOR " 2>" + errors;
    const int status = std::system(command.c_str());  // NOLINT(cert-env33-c): the test's own command line
    const std::string content = contentOf(errors);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, std::count(content.begin(), content.end(), '\n')};
}

TEST(TraceStart, ByDefaultErrorsAndWarningsGoToStandardError) {
    const TemporaryFolder folder;
    const Outcome outcome = runActor(folder, "-u ZFI_TRACE_LEVEL -u ZFI_TRACE_FILE");
    EXPECT_EQ(outcome.level, 2);
    EXPECT_EQ(outcome.lines, 3);
}

TEST(TraceStart, TheEnvironmentGivesTheLevel) {
    const TemporaryFolder folder;
    const Outcome outcome = runActor(folder, "-u ZFI_TRACE_FILE ZFI_TRACE_LEVEL=6");
    EXPECT_EQ(outcome.level, 6);
    EXPECT_EQ(outcome.lines, 7);
}

TEST(TraceStart, WhatIsNotALevelLeavesTheDefault) {
    const TemporaryFolder folder;
    for (const char* value : {"", "8", "66", "-1", "x", "3x"}) {
        EXPECT_EQ(runActor(folder, std::string("-u ZFI_TRACE_FILE ZFI_TRACE_LEVEL=") + value).level, 2) << value;
    }
}

TEST(TraceStart, TheEnvironmentGivesTheFile) {
    const TemporaryFolder folder;
    const std::string file = folder / "trace";
    EXPECT_EQ(runActor(folder, "-u ZFI_TRACE_LEVEL ZFI_TRACE_FILE=" + file).lines, 0);
    EXPECT_NE(contentOf(file).find(" 2 actor - level 2\n"), std::string::npos);
}

TEST(TraceStart, AFileThatCannotBeOpenedLeavesStandardError) {
    const TemporaryFolder folder;
    EXPECT_EQ(runActor(folder, "-u ZFI_TRACE_LEVEL ZFI_TRACE_FILE=" + (folder / "no/such")).lines, 3);
}

}  // namespace
