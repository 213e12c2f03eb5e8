// Lines kept in memory while nothing may be written: a block of pages that is there, and touched, before the first line
// comes. Not locked.
#pragma once

#include <cstddef>
#include <cstdint>

#include "trace/trace_line.h"

namespace znfi_runtime {

class HeldLines {
  public:
    static constexpr size_t kCapacity = 1024 * 1024;

    HeldLines() = default;
    HeldLines(const HeldLines&) = delete;
    HeldLines& operator=(const HeldLines&) = delete;
    ~HeldLines();

    // Maps and touches the pages once. Where that fails every line counts as dropped.
    void prepare() noexcept;
    // A line that does not fit is counted, and so is every later one: the kept lines have no gaps.
    void add(const TraceLine& line) noexcept;

    // Calls deliver(const TraceLine&) with every kept line in order.
    template <typename Deliver>
    void forEach(Deliver deliver) const {
        for (size_t at = 0; at < used_;) {
            TraceLine line;
            at = read(at, line);
            deliver(line);
        }
    }
    uint64_t dropped() const { return dropped_; }
    void clear() noexcept;

  private:
    size_t read(size_t at, TraceLine& line) const noexcept;

    char* pages_ = nullptr;
    size_t used_ = 0;
    uint64_t dropped_ = 0;
};

}  // namespace znfi_runtime
