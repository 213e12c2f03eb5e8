#include <gtest/gtest.h>

#include <string>

#include "cfierrormanager.h"
#include "runtime_testing.h"

namespace {

using znfi_testing::CapturedTrace;
using znfi_testing::namedLog;
using znfi_testing::TracedText;

TEST(TraceLog, HandsTheFormattedTextUnchangedToTheSink) {
    CapturedTrace trace(3);
    namedLog("tarnfi")->trace(3, "Command : %s\n [%d]\n", "/bin/mount", 7);
    EXPECT_EQ(trace.lines, (std::vector<TracedText>{{3, "tarnfi", "Command : /bin/mount\n [7]\n"}}));
}

TEST(TraceLog, WritesUpToTheThresholdAndNothingAbove) {
    CapturedTrace trace(2);
    const auto log = namedLog("p");
    for (int level = 0; level <= 7; ++level) {
        log->trace(level, "%d", level);
    }
    EXPECT_EQ(trace.texts(), (std::vector<std::string>{"0", "1", "2"}));
}

TEST(TraceLog, TheThresholdHoldsForAllLogsAtOnce) {
    CapturedTrace trace(1);
    EXPECT_EQ(znfi_trace_level(), 1);
    EXPECT_TRUE(CFiTraceLog::isEnabled(1));
    EXPECT_FALSE(CFiTraceLog::isEnabled(2));
    znfi_trace_set_level(6);
    EXPECT_TRUE(CFiTraceLog::isEnabled(6));
    EXPECT_FALSE(CFiTraceLog::isEnabled(7));
}

TEST(TraceLog, ADisabledLevelFormatsNothing) {
    CapturedTrace trace(2);
    const char* unreadable = reinterpret_cast<const char*>(1);
    namedLog("p")->trace(3, "%s", unreadable);  // formatting it would end the program
    EXPECT_TRUE(trace.lines.empty());
}

TEST(TraceLog, TextsOfAnyLengthArriveWhole) {
    CapturedTrace trace(1);
    const auto log = namedLog("p");
    for (const size_t size : {0U, 1U, 2046U, 2047U, 2048U, 2049U, 100'000U}) {
        const std::string text(size, 'x');
        log->trace(1, "%s", text.c_str());
        ASSERT_EQ(trace.lines.back().text, text);
    }
}

TEST(TraceLog, ALogWithoutANameTracesAllTheSame) {
    CapturedTrace trace(1);
    const auto log = makeCounted<CFiTraceLog>();
    EXPECT_FALSE(log->isInitialized());
    log->trace(1, "early");
    EXPECT_EQ(trace.lines, (std::vector<TracedText>{{1, "", "early"}}));
    log->initialize("late", "", "", 1, false);
    EXPECT_TRUE(log->isInitialized());
    log->trace(1, "line");
    EXPECT_EQ(trace.lines.back().plugin, "late");
}

TEST(TraceLog, KeepsACountedReferenceToTheErrorManager) {
    const auto first = makeCounted<CFiErrorManager>();
    const auto second = makeCounted<CFiErrorManager>();
    const auto log = namedLog("p");
    log->registerErrorManager(first);
    EXPECT_EQ(first->getCount(), 2);
    log->registerErrorManager(second);
    EXPECT_EQ(first->getCount(), 1);
    EXPECT_EQ(second->getCount(), 2);
}

TEST(TraceLog, ASinkThatTracesDoesNotReceiveItsOwnText) {
    struct Sink {
        CFiSmartPtr<CFiTraceLog> log = namedLog("sink");
        int calls = 0;
    } sink;
    znfi_trace_sink(
        [](void* self, int, const char*, const char*) {
            auto* receiver = static_cast<Sink*>(self);
            ++receiver->calls;
            receiver->log->trace(1, "again");
        },
        &sink);
    sink.log->trace(1, "once");
    znfi_trace_sink(nullptr, nullptr);
    EXPECT_EQ(sink.calls, 1);
}

TEST(TraceLog, ATapReceivesWhatItsDestinationReceives) {
    CapturedTrace trace(2);
    std::vector<std::string> tapped;
    znfi_trace_tap([](void* list, int, const char*,
                      const char* text) { static_cast<std::vector<std::string>*>(list)->emplace_back(text); },
                   &tapped);
    const auto log = namedLog("p");
    log->trace(1, "both\n");
    log->trace(3, "neither");
    znfi_trace_tap(nullptr, nullptr);
    log->trace(1, "sink only");
    EXPECT_EQ(tapped, (std::vector<std::string>{"both\n"}));
    EXPECT_EQ(trace.texts(), (std::vector<std::string>{"both\n", "sink only"}));
}

}  // namespace
