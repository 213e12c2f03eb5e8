#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <regex>

#include "runtime_testing.h"
#include "trace/temporary_folder_testing.h"

namespace {

using znfi_testing::contentOf;
using znfi_testing::namedLog;
using znfi_testing::TemporaryFolder;

class TraceFile : public testing::Test {
  protected:
    ~TraceFile() override {
        znfi_trace_road(nullptr);
        znfi_trace_file(nullptr);
    }

    TemporaryFolder folder_;
    const std::string file_ = folder_ / "trace";
};

constexpr char kHead[] = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z )";

TEST_F(TraceFile, ALineHasTimeProcessLevelPluginRoadAndText) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    const auto log = namedLog("tarnfi");
    log->trace(1, "first");
    znfi_trace_road("road-7");
    log->trace(2, "second");
    const std::string process = std::to_string(getpid());
    EXPECT_TRUE(std::regex_match(contentOf(file_), std::regex(kHead + process + " 1 tarnfi - first\n" + kHead +
                                                              process + " 2 tarnfi road-7 second\n")))
        << contentOf(file_);
}

TEST_F(TraceFile, DropsOneTrailingLineBreakAndMarksFurtherLines) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    makeCounted<CFiTraceLog>()->trace(1, "one\ntwo\n\nfour\n\n");
    const std::string content = contentOf(file_);
    EXPECT_EQ(content.substr(content.find(" 1 ")), " 1 - - one\n| two\n| \n| four\n| \n");
}

TEST_F(TraceFile, ARoadIdIsCutAt31Bytes) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    znfi_trace_road(std::string(40, 'r').c_str());
    namedLog("p")->trace(1, "x");
    EXPECT_NE(contentOf(file_).find(" 1 p " + std::string(31, 'r') + " x\n"), std::string::npos);
}

TEST_F(TraceFile, IsMadeForItsOwnerOnlyAndClosedOnExec) {
    const mode_t before = umask(0);
    const int result = znfi_trace_file(file_.c_str());
    umask(before);
    ASSERT_EQ(result, 0);
    struct stat entry {};
    ASSERT_EQ(stat(file_.c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode & 07777U, 0600U);
    bool isFound = false;
    for (const auto& open : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(open.path(), gone) == std::filesystem::canonical(file_)) {
            isFound = true;
            EXPECT_NE(fcntl(std::stoi(open.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_TRUE(isFound);
}

TEST_F(TraceFile, IsAppendedTo) {
    std::ofstream(file_) << "old\n";
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    namedLog("p")->trace(1, "new");
    EXPECT_EQ(contentOf(file_).substr(0, 4), "old\n");
    EXPECT_NE(contentOf(file_).find("new\n"), std::string::npos);
}

TEST_F(TraceFile, WhatLeadsSomewhereElseIsRefusedAndTheOldFileStays) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    const std::string target = folder_ / "target";
    const std::string link = folder_ / "link";
    const std::string secondName = folder_ / "second";
    const std::string fifo = folder_ / "fifo";
    std::ofstream(target) << "";
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    EXPECT_EQ(znfi_trace_file(link.c_str()), ELOOP);
    ASSERT_EQ(::link(target.c_str(), secondName.c_str()), 0);
    EXPECT_EQ(znfi_trace_file(secondName.c_str()), EMLINK);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_NE(znfi_trace_file(fifo.c_str()), 0);
    EXPECT_EQ(znfi_trace_file((folder_ / "").c_str()), EISDIR);
    EXPECT_EQ(znfi_trace_file((folder_ / "no/such").c_str()), ENOENT);
    namedLog("p")->trace(1, "still here");
    EXPECT_EQ(contentOf(target), "");
    EXPECT_NE(contentOf(file_).find("still here\n"), std::string::npos);
}

TEST_F(TraceFile, CanBeChangedAtAnyTime) {
    const std::string other = folder_ / "other";
    const auto log = namedLog("p");
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    log->trace(1, "here");
    ASSERT_EQ(znfi_trace_file(other.c_str()), 0);
    log->trace(1, "there");
    EXPECT_NE(contentOf(file_).find("here\n"), std::string::npos);
    EXPECT_EQ(contentOf(file_).find("there\n"), std::string::npos);
    EXPECT_NE(contentOf(other).find("there\n"), std::string::npos);
}

TEST_F(TraceFile, NullGoesBackToStandardError) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    ASSERT_EQ(znfi_trace_file(nullptr), 0);
    testing::internal::CaptureStderr();
    namedLog("p")->trace(1, "on standard error");
    EXPECT_NE(testing::internal::GetCapturedStderr().find(" 1 p - on standard error\n"), std::string::npos);
    EXPECT_EQ(contentOf(file_), "");
}

TEST_F(TraceFile, StaysInPlaceBehindASink) {
    ASSERT_EQ(znfi_trace_file(file_.c_str()), 0);
    const auto log = namedLog("p");
    {
        znfi_testing::CapturedTrace trace(1);
        log->trace(1, "sunk");
        EXPECT_EQ(trace.texts(), (std::vector<std::string>{"sunk"}));
    }
    log->trace(1, "filed");
    EXPECT_EQ(contentOf(file_).find("sunk"), std::string::npos);
    EXPECT_NE(contentOf(file_).find("filed\n"), std::string::npos);
}

}  // namespace
