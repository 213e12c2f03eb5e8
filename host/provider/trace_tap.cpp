#include "host/provider/trace_tap.h"

#include <utility>

#include "znfi.h"

namespace tarnctl {
namespace {
constexpr int kErrorLevel = 1;
constexpr size_t kMaxLines = 100;
}  // namespace

TraceTap::TraceTap() {
    znfi_trace_tap(&TraceTap::receive, this);
}

TraceTap::~TraceTap() {
    znfi_trace_tap(nullptr, nullptr);
}

std::vector<std::string> TraceTap::take() {
    std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
}

void TraceTap::receive(void* tap, int level, const char*, const char* text) {
    if (level != kErrorLevel) {
        return;
    }
    auto& self = *static_cast<TraceTap*>(tap);
    std::lock_guard lock(self.mutex_);
    if (self.lines_.size() < kMaxLines) {
        self.lines_.emplace_back(text);
    }
}

}  // namespace tarnctl
