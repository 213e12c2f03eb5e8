#include <atomic>
#include <cstring>
#include <new>

#include "znfi.h"

namespace {

std::atomic<int64_t> outstanding{0};

// Every buffer has an address of its own, the empty one too.
size_t allocated(size_t size) {
    return size == 0 ? 1 : size;
}

}  // namespace

void* znfi_alloc_buf(size_t size) {
    void* buffer = ::operator new(allocated(size), std::nothrow);
    if (buffer != nullptr) {
        std::memset(buffer, 0, allocated(size));
        outstanding.fetch_add(1, std::memory_order_relaxed);
    }
    return buffer;
}

// The size goes to the allocator, so that a checking allocator finds a caller that names a wrong one.
void znfi_free_buf(void* buffer, size_t size) {
    if (buffer != nullptr) {
        ::operator delete(buffer, allocated(size));
        outstanding.fetch_sub(1, std::memory_order_relaxed);
    }
}

int64_t znfi_outstanding_bufs(void) {
    return outstanding.load(std::memory_order_relaxed);
}
