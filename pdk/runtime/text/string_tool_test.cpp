#include <gtest/gtest.h>

#include "cfistringtool.h"

namespace {

TEST(StringTool, ConvertsByteForByte) {
    const std::string bytes("a\xff\0b", 4);
    EXPECT_EQ(CFiStringTool::tstr2str(CFiStringTool::str2tstr(bytes)), bytes);
    EXPECT_EQ(CFiStringTool::tstr2str(CFiStringTool::str2tstr("Gerät")), "Gerät");
    EXPECT_EQ(CFiStringTool::str2tstr(static_cast<const char*>(nullptr)).length(), 0U);
}

TEST(StringTool, UppersAsciiOnly) {
    EXPECT_EQ(CFiStringTool::tostrupper("fi_0azé{"), "FI_0AZé{");
}

TEST(StringTool, TrimsTheEndOnly) {
    EXPECT_EQ(CFiStringTool::rtrim(" a b \n ", " \n"), " a b");
    EXPECT_EQ(CFiStringTool::rtrim("   ", " "), "");
    EXPECT_EQ(CFiStringTool::rtrim("abc", ""), "abc");
    EXPECT_EQ(CFiStringTool::rtrim("abc", nullptr), "abc");
    EXPECT_EQ(CFiStringTool::rtrim("", " "), "");
}

TEST(StringTool, FindsATextInAnyLine) {
    const std::vector<std::string> lines{"mount: busy", "second"};
    EXPECT_TRUE(CFiStringTool::find(lines, "busy"));
    EXPECT_FALSE(CFiStringTool::find(lines, "Busy"));
    EXPECT_FALSE(CFiStringTool::find(lines, "busysecond"));
    EXPECT_FALSE(CFiStringTool::find({}, ""));
}

TEST(StringTool, JoinsWithNothingBetween) {
    EXPECT_EQ(CFiStringTool::join({"a ", "", "b"}), "a b");
    EXPECT_EQ(CFiStringTool::join({}), "");
}

TEST(StringTool, AListOfCopiesEndsWithNull) {
    char** list = CFiStringTool::tstrduplist({"ext2", "", "xfs"});
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list[0], "ext2");
    EXPECT_STREQ(list[1], "");
    EXPECT_STREQ(list[2], "xfs");
    EXPECT_EQ(list[3], nullptr);
    CFiStringTool::tstrfreelist(list);

    char** empty = CFiStringTool::tstrduplist({});
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty[0], nullptr);
    CFiStringTool::tstrfreelist(empty);
    CFiStringTool::tstrfreelist(nullptr);
}

}  // namespace
