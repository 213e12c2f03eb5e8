#include "host/transfer/strict_json.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

std::string refusalOf(std::string_view text) {
    const auto read = strictJson(text, "f");
    EXPECT_TRUE(read || read.failure().code == ExitCode::kUnsupported);
    return read ? "" : read.failure().cause;
}

TEST(StrictJson, TakesWhatIsPlain) {
    EXPECT_EQ(refusalOf(R"({"a":1,"b":{"a":[{"a":2},{"a":3}]}})"), "");
    EXPECT_EQ(refusalOf(" null "), "");
}

TEST(StrictJson, RefusesTwoMembersOfOneName) {
    EXPECT_NE(refusalOf(R"({"a":1,"a":2})").find("two members named a"), std::string::npos);
    EXPECT_NE(refusalOf(R"([{"b":{"c":1,"\u0063":2}}])").find("two members named c"), std::string::npos);
}

TEST(StrictJson, RefusesAByteOrderMark) {
    EXPECT_NE(refusalOf("\xEF\xBB\xBF{}").find("byte-order mark"), std::string::npos);
}

TEST(StrictJson, RefusesWhatIsNoJson) {
    for (const char* text : {"", "{", "{}{}", "{'a':1}", "{\"a\":1,}", "// x\n{}", "\"\xff\"", "NaN"}) {
        EXPECT_NE(refusalOf(text).find("no JSON"), std::string::npos) << text;
    }
}

TEST(StrictJson, RefusesWhatIsTooLargeOrTooDeep) {
    EXPECT_NE(refusalOf("\"" + std::string(kLargestDocument, 'x') + "\"").find("larger"), std::string::npos);
    EXPECT_NE(refusalOf(std::string(500'000, '[') + std::string(500'000, ']')).find("deeper"), std::string::npos);
    EXPECT_NE(refusalOf(std::string(500'000, '[')), "");
}

}  // namespace
}  // namespace tarnctl
