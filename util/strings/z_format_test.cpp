#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <clocale>
#include <cwchar>
#include <limits>
#include <string>
#include <vector>

#include "guarded_memory.h"
#include "z_strings.h"
#include "z_wide_strings.h"

namespace {

std::vector<char> dots(std::size_t count) {
    return std::vector<char>(count, '.');
}
std::vector<wchar_t> wideDots(std::size_t count) {
    return std::vector<wchar_t>(count, L'.');
}

TEST(Format, TenCharactersIntoFiveReturnsFour) {
    GuardedMemory<char> dst(dots(5));
    EXPECT_EQ(Z_snprintf(dst.data(), 5, "%s", "0123456789"), 4);
    EXPECT_STREQ(dst.data(), "0123");
}

TEST(Format, TenCharactersIntoElevenReturnsTen) {
    GuardedMemory<char> dst(dots(11));
    EXPECT_EQ(Z_snprintf(dst.data(), 11, "%s", "0123456789"), 10);
    EXPECT_STREQ(dst.data(), "0123456789");
}

TEST(Format, TenCharactersIntoTenAreCut) {
    GuardedMemory<char> dst(dots(10));
    EXPECT_EQ(Z_snprintf(dst.data(), 10, "%s", "0123456789"), 9);
    EXPECT_STREQ(dst.data(), "012345678");
}

TEST(Format, NoRoomAndNullAreRefusedWithoutWriting) {
    GuardedMemory<char> dst(dots(3));
    EXPECT_EQ(Z_snprintf(dst.data(), 0, "%d", 1), -1);
    EXPECT_EQ(Z_snprintf(nullptr, 3, "%d", 1), -1);
    EXPECT_EQ(dst.contents(), dots(3));
}

// No locale that the test starts in can encode this character, so the system library fails.
TEST(Format, FailureLeavesAnEmptyTextAndZero) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    GuardedMemory<char> dst(dots(8));
    EXPECT_EQ(Z_snprintf(dst.data(), 8, "ab%lc", static_cast<std::wint_t>(0x20AC)), 0);
    EXPECT_EQ(dst.data()[0], '\0');
}

TEST(WideFormat, OutputThatFitsReturnsItsLength) {
    GuardedMemory<wchar_t> dst(wideDots(11));
    EXPECT_EQ(Z_snwprintf(dst.data(), 11, L"%ls", L"0123456789"), 10);
    EXPECT_STREQ(dst.data(), L"0123456789");
}

TEST(WideFormat, OutputThatDoesNotFitIsMinusOneAndStillCutIntoPlace) {
    GuardedMemory<wchar_t> dst(wideDots(5));
    EXPECT_EQ(Z_snwprintf(dst.data(), 5, L"%ls", L"0123456789"), -1);
    EXPECT_STREQ(dst.data(), L"0123");
}

TEST(WideFormat, DestinationMayBeAnArgument) {
    GuardedMemory<wchar_t> dst({L'a', L'b', L'\0', L'.', L'.', L'.', L'.'});
    EXPECT_EQ(Z_snwprintf(dst.data(), 7, L"<%ls>", dst.data()), 4);
    EXPECT_STREQ(dst.data(), L"<ab>");
}

TEST(WideFormat, NoRoomIsRefusedWithoutWriting) {
    GuardedMemory<wchar_t> dst(wideDots(3));
    EXPECT_EQ(Z_snwprintf(dst.data(), 0, L"%d", 1), -1);
    EXPECT_EQ(dst.contents(), wideDots(3));
}

TEST(WideFormat, NullDestinationStillReturnsTheLength) {
    EXPECT_EQ(Z_snwprintf(nullptr, 8, L"%d", 123), 3);
}

TEST(WideFormat, WithoutMemoryForTheTemporaryTheDestinationStaysUntouched) {
    GuardedMemory<wchar_t> dst(wideDots(8));
    const std::size_t noMachineHas = std::numeric_limits<std::size_t>::max() / sizeof(wchar_t) - 1;
    EXPECT_EQ(Z_snwprintf(dst.data(), noMachineHas, L"%d", 123), -1);
    EXPECT_EQ(dst.contents(), wideDots(8));
}

// Printable, so that the text itself needs no conversion in any locale.
rc::Gen<std::string> text() {
    return rc::gen::container<std::string>(rc::gen::inRange<char>(' ', '~'));
}

TEST(Format, AnyTextAndNumberIsWrittenAsFarAsItFits) {
    EXPECT_TRUE(rc::check([](int number) {
        const std::string argument = *text();
        const std::string whole = argument + '|' + std::to_string(number);
        const std::size_t size = *rc::gen::inRange<std::size_t>(1, whole.size() + 3);
        GuardedMemory<char> dst(dots(size));
        const std::string kept = whole.substr(0, size - 1);
        RC_ASSERT(Z_snprintf(dst.data(), size, "%s|%d", argument.c_str(), number) == static_cast<int>(kept.size()));
        RC_ASSERT(std::string(dst.data()) == kept);
    }));
}

TEST(WideFormat, AnyTextAndNumberIsWrittenAsFarAsItFits) {
    EXPECT_TRUE(rc::check([](int number) {
        const std::string narrow = *text();
        const std::wstring argument(narrow.begin(), narrow.end());
        const std::wstring whole = argument + L'|' + std::to_wstring(number);
        const std::size_t size = *rc::gen::inRange<std::size_t>(1, whole.size() + 3);
        GuardedMemory<wchar_t> dst(wideDots(size));
        const int expected = whole.size() < size ? static_cast<int>(whole.size()) : -1;
        RC_ASSERT(Z_snwprintf(dst.data(), size, L"%ls|%d", argument.c_str(), number) == expected);
        RC_ASSERT((std::wstring(dst.data()) == whole.substr(0, size - 1)));
    }));
}

}  // namespace
