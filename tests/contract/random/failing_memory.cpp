#include "failing_memory.h"

#include <cstdlib>
#include <new>

#include "bed/faults.h"

#define ROADS_REPLACES __attribute__((visibility("default")))

namespace {

int untilFailure = 0;
bool hasFailed = false;

void* allocate(size_t size) noexcept {
    if (untilFailure > 0 && !bed::isAtWork() && --untilFailure == 0) {
        hasFailed = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

namespace roads {

void failAllocation(int n) {
    hasFailed = false;
    untilFailure = n;
}

bool stopFailing() {
    untilFailure = 0;
    return hasFailed;
}

}  // namespace roads

ROADS_REPLACES void* operator new(size_t size) {
    return allocateOrThrow(size);
}
ROADS_REPLACES void* operator new[](size_t size) {
    return allocateOrThrow(size);
}
ROADS_REPLACES void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
ROADS_REPLACES void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
ROADS_REPLACES void operator delete(void* memory) noexcept {
    std::free(memory);
}
ROADS_REPLACES void operator delete[](void* memory) noexcept {
    std::free(memory);
}
ROADS_REPLACES void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
ROADS_REPLACES void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}
