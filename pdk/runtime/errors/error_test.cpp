#include <gtest/gtest.h>

#include "cfierror.h"

namespace {

std::string idOf(int code, int offset, const char* component = "fi") {
    return CFiError(code, "text", "file", 1, "function").getMessageId(component, offset);
}

TEST(FiError, TheMessageIdCountsFromTheOffset) {
    EXPECT_EQ(idOf(6003, 6000), "MSG_ERROR_FI_0003");
    EXPECT_EQ(idOf(12, 6000), "MSG_ERROR_FI_0012");
}

TEST(FiError, ACodeEqualToTheOffsetIsPrintedItself) {
    EXPECT_EQ(idOf(6000, 6000), "MSG_ERROR_FI_6000");
}

TEST(FiError, LongNumbersAndOtherComponentsAreWhole) {
    EXPECT_EQ(idOf(123456, 0, "Disk_x9"), "MSG_ERROR_DISK_X9_123456");
    EXPECT_EQ(idOf(-5, 0), "MSG_ERROR_FI_-005");
}

TEST(FiError, KeepsWhatItWasRaisedWith) {
    const CFiError error(7, "no memory", "source.cpp", 42, "allocate");
    EXPECT_EQ(error.getText(), "no memory");
    EXPECT_EQ(error.getCode(), 7);
    EXPECT_EQ(error.getFileName(), "source.cpp");
    EXPECT_EQ(error.getLine(), 42);
    EXPECT_EQ(error.getFunction(), "allocate");
}

TEST(FiError, ASubclassMayChangeTheText) {
    struct Detailed : CFiError {
        Detailed() : CFiError(1, "plain", "f", 1, "g") {}
        const std::string& getText() const override { return detail; }
        std::string detail = "detailed";
    };
    try {
        throw Detailed();
    } catch (const CFiError& error) {
        EXPECT_EQ(error.getText(), "detailed");
    }
}

TEST(UdidException, KeepsTextAndCode) {
    const CFiUdidException error("bad id", 9);
    EXPECT_EQ(error.getText(), "bad id");
    EXPECT_EQ(error.getCode(), 9);
}

}  // namespace
