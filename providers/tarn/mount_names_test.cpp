#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "mount_table.h"
#include "tarn_plugin.h"

namespace {

std::string nameFor(const std::string& path) {
    std::string name = "old";
    makeCounted<CTARNPlugin>()->generateName(path, name);
    return name;
}

TEST(GenerateName, IsTheLastPartOfThePath) {
    EXPECT_EQ(nameFor("/mnt/data"), "/data");
    EXPECT_EQ(nameFor("/dev/sdb1"), "/sdb1");
    EXPECT_EQ(nameFor("/a/b/"), "/");
    EXPECT_EQ(nameFor("/"), "/");
}

TEST(GenerateName, PutsASlashInFront) {
    EXPECT_EQ(nameFor("data"), "/data");
    EXPECT_EQ(nameFor(""), "/");
}

TEST(GetTime, IsDayMonthYearAndTimeOfDay) {
    const time_t before = time(nullptr);
    const std::string text = makeCounted<CTARNPlugin>()->getTime();
    const time_t after = time(nullptr);
    ASSERT_EQ(text.size(), 14u);
    struct tm parsed = {};
    ASSERT_EQ(strptime(text.c_str(), "%d%m%Y%H%M%S", &parsed), text.c_str() + text.size());
    parsed.tm_isdst = -1;
    const time_t told = mktime(&parsed);
    EXPECT_LE(before, told);
    EXPECT_LE(told, after);
}

// In every zone, so that some of the hours have one digit, whenever it runs.
TEST(GetTime, IsPaddedWithZeros) {
    const auto formatted = [] {
        const time_t now = time(nullptr);
        char text[16] = {};
        strftime(text, sizeof(text), "%d%m%Y%H%M%S", localtime(&now));
        return std::string(text);
    };
    const bool hadZone = getenv("TZ") != nullptr;
    const std::string zoneBefore = hadZone ? getenv("TZ") : "";
    for (int hours = -12; hours < 12; ++hours) {
        setenv("TZ", ("TST" + std::to_string(hours)).c_str(), 1);
        tzset();
        std::string before;
        std::string text;
        do {
            before = formatted();
            text = makeCounted<CTARNPlugin>()->getTime();
        } while (before != formatted());  // the second has changed meanwhile
        EXPECT_EQ(text, before) << hours;
    }
    if (hadZone) {
        setenv("TZ", zoneBefore.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

TEST(PathBuffer, IsAnArrayOfOneCopy) {
    const int64_t before = znfi_outstanding_bufs();
    char** paths = nullptr;
    int count = 0;
    EXPECT_EQ(makeCounted<CTARNPlugin>()->createPathAndAllocBuffer("/mnt/a b", &paths, &count), 0);
    EXPECT_EQ(count, 1);
    ASSERT_NE(paths, nullptr);
    EXPECT_STREQ(paths[0], "/mnt/a b");
    znfi_free_buf(paths[0], sizeof("/mnt/a b"));
    freeMemory(paths);
    EXPECT_EQ(znfi_outstanding_bufs(), before);
}

}  // namespace
