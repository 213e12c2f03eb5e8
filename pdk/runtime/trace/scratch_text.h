// Bytes on the stack as long as they fit, on the heap beyond.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace znfi_runtime {

class ScratchText {
  public:
    static constexpr size_t kOnStack = 2048;

    ScratchText() = default;
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;

    // Room for size bytes, what was written before is lost; null when memory is out.
    char* reserve(size_t size) noexcept {
        if (size <= kOnStack) {
            return onStack_;
        }
        onHeap_.reset(new (std::nothrow) char[size]);
        return onHeap_.get();
    }

  private:
    char onStack_[kOnStack];
    std::unique_ptr<char[]> onHeap_;
};

}  // namespace znfi_runtime
