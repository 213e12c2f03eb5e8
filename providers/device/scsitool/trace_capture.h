// Test support: what the code under test writes to the trace, as "level|text", with line numbers replaced by N.
#pragma once

#include <string>
#include <vector>

#include "cfitracelog.h"

// One at a time.
class TraceCapture {
  public:
    TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;
    ~TraceCapture();

    CFiSmartPtr<CFiTraceLog>& log() { return log_; }
    // The lines of levels 1 to 6, and those above.
    const std::vector<std::string>& lines() const { return lines_; }
    const std::vector<std::string>& details() const { return details_; }

  private:
    static void receive(void* context, int level, const char* plugin, const char* text);

    int previousLevel_;
    CFiSmartPtr<CFiTraceLog> log_;
    std::vector<std::string> lines_;
    std::vector<std::string> details_;
};
