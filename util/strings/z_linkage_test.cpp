#include <gtest/gtest.h>

#include "z_calls.h"

namespace {

constexpr char kExpected[] =
    "3 3 2 5 3 3 2 5 abcdefghjkl abcdefghjkl 0 0 5 1 1 1 1 1111 0123 4 7 Thu Jan  1 23:59:59 1970\n";

TEST(Linkage, CallsFromC11) {
    char transcript[256];
    recordCallsFromC(transcript, sizeof transcript);
    EXPECT_STREQ(transcript, kExpected);
}

TEST(Linkage, CallsFromCxx20) {
    char transcript[256];
    recordCallsFromCxx(transcript, sizeof transcript);
    EXPECT_STREQ(transcript, kExpected);
}

}  // namespace
