#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

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
