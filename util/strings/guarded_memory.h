// Test support: an array that ends exactly where readable memory ends, so that one character too far is a crash.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

template <typename Character>
class GuardedMemory {
  public:
    explicit GuardedMemory(const std::vector<Character>& contents) : count_(contents.size()) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t bytes = count_ * sizeof(Character);
        const std::size_t usable = (bytes + page - 1) / page * page;
        mapped_ = usable + page;
        base_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base_ == MAP_FAILED) {
            throw std::runtime_error("no memory for a guarded array");
        }
        std::byte* end = static_cast<std::byte*>(base_) + usable;
        if (mprotect(end, page, PROT_NONE) != 0) {
            munmap(base_, mapped_);
            throw std::runtime_error("no guard page");
        }
        data_ = static_cast<Character*>(static_cast<void*>(end - bytes));
        std::copy(contents.begin(), contents.end(), data_);
    }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;
    ~GuardedMemory() { munmap(base_, mapped_); }

    Character* data() { return data_; }
    std::size_t size() const { return count_; }
    std::vector<Character> contents() const { return {data_, data_ + count_}; }

  private:
    std::size_t count_;
    std::size_t mapped_ = 0;
    void* base_ = nullptr;
    Character* data_ = nullptr;
};
