// What the runtime's tests share.
#pragma once

#include <string>
#include <vector>

#include "cfitracelog.h"
#include "znfi.h"

namespace znfi_testing {

struct TracedText {
    int level;
    std::string plugin;
    std::string text;
    bool operator==(const TracedText&) const = default;
};

// Takes everything that is traced while it lives, up to a level.
class CapturedTrace {
  public:
    explicit CapturedTrace(int level) : levelBefore_(znfi_trace_level()) {
        znfi_trace_set_level(level);
        znfi_trace_sink(
            [](void* self, int lineLevel, const char* plugin, const char* text) {
                static_cast<CapturedTrace*>(self)->lines.push_back({lineLevel, plugin, text});
            },
            this);
    }
    CapturedTrace(const CapturedTrace&) = delete;
    CapturedTrace& operator=(const CapturedTrace&) = delete;
    ~CapturedTrace() {
        znfi_trace_sink(nullptr, nullptr);
        znfi_trace_set_level(levelBefore_);
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const TracedText& line : lines) {
            all.push_back(line.text);
        }
        return all;
    }

    std::vector<TracedText> lines;

  private:
    int levelBefore_;
};

inline CFiSmartPtr<CFiTraceLog> namedLog(const char* name) {
    auto log = makeCounted<CFiTraceLog>();
    log->initialize(name, "", "", 1, false);
    return log;
}

}  // namespace znfi_testing
