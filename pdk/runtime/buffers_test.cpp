#include <gtest/gtest.h>

#include <algorithm>

#include "znfi.h"

namespace {

TEST(Buffers, AreZeroedAndCountedUntilFreed) {
    const int64_t before = znfi_outstanding_bufs();
    auto* bytes = static_cast<unsigned char*>(znfi_alloc_buf(4096));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::count(bytes, bytes + 4096, 0), 4096);
    EXPECT_EQ(znfi_outstanding_bufs(), before + 1);
    znfi_free_buf(bytes, 4096);
    EXPECT_EQ(znfi_outstanding_bufs(), before);
}

TEST(Buffers, AnEmptyBufferHasAnAddressOfItsOwn) {
    void* first = znfi_alloc_buf(0);
    void* second = znfi_alloc_buf(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    znfi_free_buf(first, 0);
    znfi_free_buf(second, 0);
}

TEST(Buffers, FreeingNothingCountsNothing) {
    const int64_t before = znfi_outstanding_bufs();
    znfi_free_buf(nullptr, 8);
    EXPECT_EQ(znfi_outstanding_bufs(), before);
}

// A checking allocator ends the program on such a request instead of refusing it.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if !defined(__has_feature)
#define ZNFI_PLAIN_ALLOCATOR 1
#elif !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
#define ZNFI_PLAIN_ALLOCATOR 1
#endif
#endif
#ifdef ZNFI_PLAIN_ALLOCATOR
TEST(Buffers, MemoryThatIsNotThereIsANullPointerAndNotCounted) {
    const int64_t before = znfi_outstanding_bufs();
    volatile size_t tooMuch = SIZE_MAX / 4;
    EXPECT_EQ(znfi_alloc_buf(tooMuch), nullptr);
    EXPECT_EQ(znfi_outstanding_bufs(), before);
}
#endif

}  // namespace
