// Where all trace logs of the process lead: a sink or the file (and a tap beside it), or the memory buffer while lines
// are held. Any thread; texts are delivered one at a time.
#pragma once

#include <mutex>
#include <string_view>

#include "trace/held_lines.h"
#include "trace/trace_file.h"
#include "trace/trace_line.h"
#include "znfi.h"

namespace znfi_runtime {

class TraceOutput {
  public:
    // Never fails: what cannot be delivered is dropped. A text traced by a sink or tap is dropped too.
    void write(int level, std::string_view plugin, std::string_view text) noexcept;

    void setSink(znfi_trace_sink_fn* sink, void* context) noexcept;
    void setTap(znfi_trace_sink_fn* tap, void* context) noexcept;
    int openFile(const char* path) noexcept;
    void setRoad(const char* road) noexcept;
    void hold() noexcept;
    void release() noexcept;

  private:
    struct Receiver {
        // False when there is none.
        bool take(const TraceLine& line) const noexcept;

        znfi_trace_sink_fn* function = nullptr;
        void* context = nullptr;
    };

    void deliver(const TraceLine& line) noexcept;
    void deliverHeld() noexcept;
    void openStartFile() noexcept;

    std::mutex mutex_;
    Receiver sink_;
    Receiver tap_;
    TraceFile file_;
    bool fileChosen_ = false;  // by a call or, with the first line, by the environment
    char road_[32] = "";
    HeldLines held_;
    int holds_ = 0;
};

// The one of this process, made when the library is loaded.
TraceOutput& traceOutput() noexcept;

}  // namespace znfi_runtime
