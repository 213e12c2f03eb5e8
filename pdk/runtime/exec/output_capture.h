// What a command printed: collected as it comes, split into lines at the end.
//
// Up to kWhole bytes nothing is dropped. Beyond that the first kHead and the last kTail bytes stay whole, each
// completed to a full line where that line ends or begins within kLineSlack, and one marker line between them names the
// bytes dropped. Memory stays under one and a half times kWhole, however much is printed. Not thread-safe.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace znfi_runtime {

class OutputCapture {
  public:
    static constexpr std::size_t kWhole = 8UL << 20;
    static constexpr std::size_t kHead = 64UL << 10;
    static constexpr std::size_t kTail = 1UL << 20;
    static constexpr std::size_t kLineSlack = 64UL << 10;

    // Where the next bytes go: at least kLeastRoom, valid until the next call.
    std::span<char> room();
    // `count` bytes were written to the start of room().
    void commit(std::size_t count) { size_ += count; }

    // Appends one element per line, without line ends; bytes after the last line end are a line too.
    void appendTo(std::vector<std::string>& lines) const;

  private:
    static constexpr std::size_t kFirstRead = 64UL << 10;
    static constexpr std::size_t kLeastRoom = 16UL << 10;
    static constexpr std::size_t kMost = kWhole + kFirstRead;

    void grow();
    void dropMiddle();
    std::size_t headEnd() const;
    std::size_t tailBegin(std::size_t head) const;

    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
    std::size_t head_ = 0;     // where the dropped bytes were, 0 while nothing is dropped
    std::size_t dropped_ = 0;  // bytes dropped so far
};

}  // namespace znfi_runtime
