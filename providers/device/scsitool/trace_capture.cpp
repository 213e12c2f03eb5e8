#include "trace_capture.h"

#include <string_view>

namespace {

// "[123, file]" becomes "[N, file]": the lines of the code under test may move.
std::string withoutLine(std::string_view text) {
    std::string made(text);
    const std::size_t open = made.find('[');
    const std::size_t end = open == made.npos ? open : made.find_first_not_of("0123456789", open + 1);
    if (end != made.npos && end > open + 1 && made.compare(end, 2, ", ") == 0 && made[open + 1] != '0') {
        made.replace(open + 1, end - open - 1, "N");
    }
    return made;
}

}  // namespace

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
    auto* const self = static_cast<TraceCapture*>(context);
    (level > 6 ? self->details_ : self->lines_).push_back(std::to_string(level) + '|' + withoutLine(text));
}
