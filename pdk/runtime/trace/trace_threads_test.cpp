#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "cfierrormanager.h"
#include "runtime_testing.h"

namespace {

using znfi_testing::CapturedTrace;
using znfi_testing::namedLog;

constexpr int kThreads = 4;
constexpr int kLines = 500;

TEST(TraceThreads, EveryLineOfEveryThreadArrivesInItsOrder) {
    CapturedTrace trace(2);
    const auto log = namedLog("p");
    std::atomic<int> running{kThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kLines; ++i) {
                log->trace(1, "%d", thread * kLines + i);
                log->trace(3, "disabled %d", i);
            }
            --running;
        });
    }
    while (running > 0) {
        znfi_trace_hold();
        znfi_trace_road("road");
        znfi_trace_release();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_EQ(trace.lines.size(), static_cast<size_t>(kThreads * kLines));
    std::map<int, int> next;
    for (const std::string& text : trace.texts()) {
        const int number = std::stoi(text);
        EXPECT_EQ(number % kLines, next[number / kLines]++);
    }
}

TEST(TraceThreads, ErrorsMayBePushedReadAndDroppedAtTheSameTime) {
    const auto manager = makeCounted<CFiErrorManager>();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&manager] {
            for (int i = 0; i < kLines; ++i) {
                manager->pushError(makeCounted<CFiMessage>("ID", 3, "file", i));
                for (const auto& message : manager->newestFirst()) {
                    ASSERT_EQ(message->getMessageId(), "ID");
                }
                if (i % 10 == 9) {
                    manager->clear();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    manager->clear();
    EXPECT_TRUE(manager->newestFirst().empty());
}

}  // namespace
