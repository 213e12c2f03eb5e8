#include <gtest/gtest.h>

#include "runtime_testing.h"
#include "trace/temporary_folder_testing.h"

namespace {

using znfi_testing::CapturedTrace;
using znfi_testing::contentOf;
using znfi_testing::namedLog;
using znfi_testing::TracedText;

TEST(TraceHold, NothingIsDeliveredBeforeTheReleaseAndThenAllInOrder) {
    CapturedTrace trace(3);
    std::vector<std::string> tapped;
    znfi_trace_tap([](void* list, int, const char*,
                      const char* text) { static_cast<std::vector<std::string>*>(list)->emplace_back(text); },
                   &tapped);
    const auto log = namedLog("p");
    const auto other = namedLog("q");
    log->trace(1, "before");
    znfi_trace_hold();
    log->trace(1, "first\n");
    other->trace(3, "%s", "");
    log->trace(4, "disabled");
    log->trace(2, "third");
    EXPECT_EQ(trace.lines.size(), 1U);
    EXPECT_EQ(tapped.size(), 1U);
    znfi_trace_release();
    znfi_trace_tap(nullptr, nullptr);
    EXPECT_EQ(trace.lines,
              (std::vector<TracedText>{{1, "p", "before"}, {1, "p", "first\n"}, {3, "q", ""}, {2, "p", "third"}}));
    EXPECT_EQ(tapped, trace.texts());
}

TEST(TraceHold, IsCounted) {
    CapturedTrace trace(1);
    const auto log = namedLog("p");
    znfi_trace_hold();
    znfi_trace_hold();
    log->trace(1, "kept");
    znfi_trace_release();
    EXPECT_TRUE(trace.lines.empty());
    znfi_trace_release();
    EXPECT_EQ(trace.texts(), (std::vector<std::string>{"kept"}));
}

TEST(TraceHold, AReleaseWithoutAHoldDoesNothing) {
    CapturedTrace trace(1);
    znfi_trace_release();
    namedLog("p")->trace(1, "at once");
    EXPECT_EQ(trace.lines.size(), 1U);
    znfi_trace_hold();
    namedLog("p")->trace(1, "held");
    EXPECT_EQ(trace.lines.size(), 1U);
    znfi_trace_release();
}

TEST(TraceHold, TheFileIsNotTouched) {
    const znfi_testing::TemporaryFolder folder;
    const std::string file = folder / "trace";
    ASSERT_EQ(znfi_trace_file(file.c_str()), 0);
    znfi_trace_hold();
    namedLog("p")->trace(1, "held");
    EXPECT_EQ(contentOf(file), "");
    znfi_trace_release();
    EXPECT_NE(contentOf(file).find(" 1 p - held\n"), std::string::npos);
    znfi_trace_file(nullptr);
}

TEST(TraceHold, WhatDoesNotFitIsCountedAndTheBeginningIsKept) {
    constexpr int kLines = 300;
    CapturedTrace trace(1);
    const auto log = namedLog("p");
    const std::string filling(5000, 'x');
    znfi_trace_hold();
    for (int i = 0; i < kLines; ++i) {
        log->trace(1, "%d %s", i, filling.c_str());
    }
    log->trace(1, "short");
    znfi_trace_release();
    const size_t kept = trace.lines.size() - 1;
    EXPECT_GT(kept, 1024U * 1024U / 5100U);
    EXPECT_LT(kept, static_cast<size_t>(kLines));
    for (size_t i = 0; i < kept; ++i) {
        ASSERT_EQ(trace.lines[i].text, std::to_string(i) + " " + filling);
    }
    EXPECT_EQ(trace.lines.back(), (TracedText{7, "znfi",
                                              std::to_string(kLines + 1 - static_cast<int>(kept)) +
                                                  " trace lines were lost: the buffer was full"}));
}

TEST(TraceHold, TheBufferIsFreeAgainAfterTheRelease) {
    CapturedTrace trace(1);
    const auto log = namedLog("p");
    const std::string half(600'000, 'x');
    for (int i = 0; i < 4; ++i) {
        znfi_trace_hold();
        log->trace(1, "%s", half.c_str());
        znfi_trace_release();
    }
    EXPECT_EQ(trace.texts(), std::vector<std::string>(4, half));
}

}  // namespace
