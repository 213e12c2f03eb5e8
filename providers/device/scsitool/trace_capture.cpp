#include "trace_capture.h"

#include <regex>

TraceCapture::TraceCapture() : previousLevel_(znfi_trace_level()), log_(makeCounted<CFiTraceLog>()) {
    log_->initialize("tarnfi", "", "", 7, false);
    znfi_trace_set_level(7);
    znfi_trace_sink(&TraceCapture::receive, this);
}

TraceCapture::~TraceCapture() {
    znfi_trace_sink(nullptr, nullptr);
    znfi_trace_set_level(previousLevel_);
}

void TraceCapture::receive(void* context, int level, const char*, const char* text) {
    static const std::regex line("\\[[1-9][0-9]*, ");
    auto* const self = static_cast<TraceCapture*>(context);
    (level > 6 ? self->details_ : self->lines_)
        .push_back(std::to_string(level) + '|' + std::regex_replace(text, line, "[N, "));
}
