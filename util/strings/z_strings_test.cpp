#include "z_strings.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "bounded_family.h"

#if defined(__SANITIZE_ADDRESS__)
#define TARN_ALLOCATOR_REPLACED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TARN_ALLOCATOR_REPLACED 1
#endif
#endif

namespace {

// Room is asked for that no machine has. Read through a volatile, so that the compiler does not refuse it for us.
std::size_t tooMuch() {
    volatile std::size_t bytes = std::numeric_limits<std::size_t>::max() / 2;
    return bytes;
}

template <typename Character>
class BoundedStrings : public testing::Test {
  public:
    using Family = BoundedFamily<Character>;
    using Text = std::basic_string<Character>;
    static Text wide(const char* text) { return Text(text, text + std::strlen(text)); }
    // Eight positions that show what was written and what was not.
    static Text untouched() { return wide("........"); }
};
using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(BoundedStrings, Characters);

TYPED_TEST(BoundedStrings, CopyOfThreeCharactersIntoThreeWritesTwo) {
    auto dst = this->untouched();
    EXPECT_EQ(TestFixture::Family::copy(dst.data(), this->wide("abc").c_str(), 3), 2U);
    EXPECT_EQ(dst, this->wide("ab") + TypeParam{} + this->wide("....."));
}

TYPED_TEST(BoundedStrings, CopyIntoOneWritesAnEmptyString) {
    auto dst = this->untouched();
    EXPECT_EQ(TestFixture::Family::copy(dst.data(), this->wide("abc").c_str(), 1), 0U);
    EXPECT_EQ(dst, TypeParam{} + this->wide("......."));
}

TYPED_TEST(BoundedStrings, AppendToUnterminatedDestinationWritesNothing) {
    auto dst = this->untouched();
    EXPECT_EQ(TestFixture::Family::append(dst.data(), this->wide("abc").c_str(), 5), 0U);
    EXPECT_EQ(dst, this->untouched());
}

TYPED_TEST(BoundedStrings, AppendSomeToUnterminatedDestinationWritesNothing) {
    auto dst = this->untouched();
    EXPECT_EQ(TestFixture::Family::appendSome(dst.data(), this->wide("abc").c_str(), 2, 5), 0U);
    EXPECT_EQ(dst, this->untouched());
}

TYPED_TEST(BoundedStrings, FilledCopyOfTwoCharactersWithFiveOfTenCountsTheFilling) {
    auto dst = this->untouched() + this->wide("..");
    EXPECT_EQ(TestFixture::Family::copyFilled(dst.data(), this->wide("ab").c_str(), 5, 10), 5U);
    EXPECT_EQ(dst, this->wide("ab") + typename TestFixture::Text(4, TypeParam{}) + this->wide("...."));
}

TYPED_TEST(BoundedStrings, FilledCopyOfSixCharactersIntoFourWritesThree) {
    auto dst = this->untouched();
    EXPECT_EQ(TestFixture::Family::copyFilled(dst.data(), this->wide("abcdef").c_str(), 10, 4), 3U);
    EXPECT_EQ(dst, this->wide("abc") + TypeParam{} + this->wide("...."));
}

TYPED_TEST(BoundedStrings, AppendSomeWithTheLargestCountTakesAll) {
    auto dst = this->wide("ab") + TypeParam{} + this->wide(".....");
    const std::size_t all = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(TestFixture::Family::appendSome(dst.data(), this->wide("cde").c_str(), all, 8), 3U);
    EXPECT_EQ(dst, this->wide("abcde") + TypeParam{} + this->wide(".."));
}

TYPED_TEST(BoundedStrings, NullAndNoRoomAreAnsweredWithZeroAndWriteNothing) {
    const auto src = this->wide("abc");
    const TypeParam* null = nullptr;
    for (const auto call : {TestFixture::Family::copy, TestFixture::Family::append}) {
        auto dst = this->untouched();
        EXPECT_EQ(call(nullptr, src.c_str(), 8), 0U);
        EXPECT_EQ(call(dst.data(), null, 8), 0U);
        EXPECT_EQ(call(dst.data(), src.c_str(), 0), 0U);
        EXPECT_EQ(dst, this->untouched());
    }
    for (const auto call : {TestFixture::Family::copyFilled, TestFixture::Family::appendSome}) {
        auto dst = this->untouched();
        EXPECT_EQ(call(nullptr, src.c_str(), 2, 8), 0U);
        EXPECT_EQ(call(dst.data(), null, 2, 8), 0U);
        EXPECT_EQ(call(dst.data(), src.c_str(), 2, 0), 0U);
        EXPECT_EQ(dst, this->untouched());
    }
}

TYPED_TEST(BoundedStrings, VerifyClearsTheLengthBeforeItFails) {
    std::size_t length = 77;
    EXPECT_EQ(TestFixture::Family::verify(nullptr, 4, &length), -1);
    EXPECT_EQ(length, 0U);
    length = 77;
    EXPECT_EQ(TestFixture::Family::verify(this->untouched().c_str(), 8, &length), -1);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(TestFixture::Family::verify(this->untouched().c_str(), 9, &length), 0);
    EXPECT_EQ(length, 8U);
    EXPECT_EQ(TestFixture::Family::verify(this->untouched().c_str(), 9, nullptr), 0);
    EXPECT_EQ(TestFixture::Family::verify(this->untouched().c_str(), 0, nullptr), -1);
}

TEST(DumbRealloc, ToSizeZeroLeavesNullWithoutADoubleFree) {
    void* block = std::malloc(16);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(Z_dumb_realloc(&block, 0), nullptr);
    EXPECT_EQ(block, nullptr);
}

TEST(DumbRealloc, OfNullPointerIsNull) {
    EXPECT_EQ(Z_dumb_realloc(nullptr, 8), nullptr);
}

TEST(DumbRealloc, FromNullAllocates) {
    void* block = nullptr;
    void* result = Z_dumb_realloc(&block, 8);
    EXPECT_NE(result, nullptr);
    EXPECT_EQ(result, block);
    std::free(block);
}

TEST(DumbRealloc, KeepsWhatFits) {
    void* block = nullptr;
    ASSERT_NE(Z_dumb_realloc(&block, 4), nullptr);
    std::memcpy(block, "abc", 4);
    ASSERT_NE(Z_dumb_realloc(&block, 1 << 20), nullptr);
    EXPECT_STREQ(static_cast<char*>(block), "abc");
    std::free(block);
}

TEST(DumbRealloc, FailureGivesTheOldBlockBack) {
    void* block = std::malloc(8 << 20);
    ASSERT_NE(block, nullptr);
#ifndef TARN_ALLOCATOR_REPLACED  // elsewhere the leak checker says the same
    const std::size_t held = mallinfo2().hblkhd;
#endif
    EXPECT_EQ(Z_dumb_realloc(&block, tooMuch()), nullptr);
    EXPECT_EQ(block, nullptr);
#ifndef TARN_ALLOCATOR_REPLACED
    EXPECT_LE(mallinfo2().hblkhd + (8 << 20), held);
#endif
}

TEST(DumbRealloc, FailureFromNullStaysNull) {
    void* block = nullptr;
    EXPECT_EQ(Z_dumb_realloc(&block, tooMuch()), nullptr);
    EXPECT_EQ(block, nullptr);
}

}  // namespace

// A request for too much memory is to come back null, as it does without the sanitizers.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}
