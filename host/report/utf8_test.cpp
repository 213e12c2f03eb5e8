#include "host/report/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnctl {
namespace {

TEST(Utf8, acceptsTheEdgesOfEveryLength) {
    for (const char* text : {"", "a", "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xef\xbf\xbf",
                             "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "\xed\x9f\xbf", "\xee\x80\x80"}) {
        EXPECT_TRUE(isUtf8(text)) << testing::PrintToString(text);
    }
    EXPECT_TRUE(isUtf8(std::string_view("a\0b", 3)));
}

TEST(Utf8, refusesOverLongSurrogatesStraysAndCutOffs) {
    for (const char* text :
         {"\x80", "\xc0\xaf", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xed\xa0\x80", "\xf4\x90\x80\x80",
          "\xf5\x80\x80\x80", "\xff", "\xc3", "\xe2\x82", "\xf0\x9f\x98", "\xc3("}) {
        EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
    }
}

TEST(Utf8, aBadByteTakesOneByte) {
    const Utf8Character character = firstUtf8Character("\xe2\x82x");
    EXPECT_FALSE(character.isValid);
    EXPECT_EQ(character.length, 1U);
}

TEST(Utf8, decodes) {
    EXPECT_EQ(firstUtf8Character("\xe2\x82\xac").codePoint, U'\u20ac');
    EXPECT_EQ(firstUtf8Character("\xe2\x82\xac").length, 3U);
}

}  // namespace
}  // namespace tarnctl
