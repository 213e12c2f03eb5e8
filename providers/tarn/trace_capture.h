// What was traced while it lives, every level, unchanged.
#pragma once

#include <string>
#include <vector>

#include "znfi.h"

class TraceCapture {
  public:
    TraceCapture() : level_(znfi_trace_level()) {
        znfi_trace_set_level(6);
        znfi_trace_sink(&TraceCapture::take, this);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;
    ~TraceCapture() {
        znfi_trace_sink(nullptr, nullptr);
        znfi_trace_set_level(level_);
    }

    // "LEVEL text", in order.
    const std::vector<std::string>& lines() const { return lines_; }

  private:
    static void take(void* self, int level, const char*, const char* text) {
        static_cast<TraceCapture*>(self)->lines_.push_back(std::to_string(level) + ' ' + text);
    }

    int level_;
    std::vector<std::string> lines_;
};
