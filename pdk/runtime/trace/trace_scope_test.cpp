#include <gtest/gtest.h>

#include "runtime_testing.h"

namespace {

using znfi_testing::CapturedTrace;
using znfi_testing::namedLog;

std::vector<std::string> tracedBy(int level, const CFiSmartPtr<CFiTraceLog>& log, const char* function, int line,
                                  const char* file) {
    CapturedTrace trace(level);
    { const CFiTraceLogFunction scope(log, function, line, file); }
    return trace.texts();
}

TEST(TraceScope, WritesEntryAndExitWithTheLastPartOfThePath) {
    EXPECT_EQ(tracedBy(6, namedLog("p"), "init", 12, "providers/tarn/tarn_plugin"),
              (std::vector<std::string>{"Entering Function init [12, tarn_plugin]",
                                        "Exiting Function init [12, tarn_plugin]"}));
}

TEST(TraceScope, LineZeroLeavesTheBracketsOutOnExitOnly) {
    EXPECT_EQ(tracedBy(6, namedLog("p"), "init", 0, "tarn_plugin"),
              (std::vector<std::string>{"Entering Function init [0, tarn_plugin]", "Exiting Function init"}));
}

TEST(TraceScope, APathWithoutSlashIsPrintedWhole) {
    EXPECT_EQ(tracedBy(6, namedLog("p"), "f", 1, "source").front(), "Entering Function f [1, source]");
}

TEST(TraceScope, WithoutLogFunctionOrFileNothingIsWritten) {
    EXPECT_TRUE(tracedBy(6, {}, "f", 1, "file").empty());
    EXPECT_TRUE(tracedBy(6, namedLog("p"), nullptr, 1, "file").empty());
    EXPECT_TRUE(tracedBy(6, namedLog("p"), "f", 1, nullptr).empty());
}

TEST(TraceScope, IsSilentBelowItsLevel) {
    EXPECT_TRUE(tracedBy(5, namedLog("p"), "f", 1, "file").empty());
}

TEST(TraceScope, ClosesWhenAnExceptionLeavesIt) {
    CapturedTrace trace(6);
    const auto log = namedLog("p");
    EXPECT_THROW(
        {
            const CFiTraceLogFunction scope(log, "f", 1, "file");
            throw 5;
        },
        int);
    EXPECT_EQ(trace.texts().back(), "Exiting Function f [1, file]");
    EXPECT_EQ(log->getCount(), 1);
}

}  // namespace
