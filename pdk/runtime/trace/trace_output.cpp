#include "trace/trace_output.h"

#include <cstdio>
#include <cstdlib>

#include "trace/line_format.h"
#include "trace/scratch_text.h"

namespace znfi_runtime {
namespace {

constexpr int kOwnLevel = 7;
constexpr std::string_view kOwnName = "znfi";

constinit TraceOutput output;

// Set while a sink or tap runs on this thread: it must not come back here.
thread_local bool inDelivery = false;

timespec now() noexcept {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

}  // namespace

TraceOutput& traceOutput() noexcept {
    return output;
}

void TraceOutput::write(int level, std::string_view plugin, std::string_view text) noexcept {
    if (inDelivery) {
        return;
    }
    const std::lock_guard lock(mutex_);
    const TraceLine line{now(), level, plugin, text};
    if (holds_ > 0) {
        held_.add(line);
    } else {
        deliver(line);
    }
}

bool TraceOutput::Receiver::take(const TraceLine& line) const noexcept {
    if (function == nullptr) {
        return false;
    }
    inDelivery = true;
    function(context, line.level, line.plugin.data(), line.text.data());
    inDelivery = false;
    return true;
}

void TraceOutput::deliver(const TraceLine& line) noexcept {
    tap_.take(line);
    if (sink_.take(line)) {
        return;
    }
    openStartFile();
    ScratchText scratch;
    if (char* bytes = scratch.reserve(formattedBound(line, road_))) {
        file_.append({bytes, formatLine(line, road_, bytes)});
    }
}

void TraceOutput::deliverHeld() noexcept {
    held_.forEach([this](const TraceLine& line) { deliver(line); });
    if (held_.dropped() > 0) {
        char text[80];
        const int size = std::snprintf(text, sizeof text, "%llu trace lines were lost: the buffer was full",
                                       static_cast<unsigned long long>(held_.dropped()));
        deliver({now(), kOwnLevel, kOwnName, {text, static_cast<size_t>(size)}});
    }
    held_.clear();
}

void TraceOutput::openStartFile() noexcept {
    if (!fileChosen_) {
        fileChosen_ = true;
        const char* path = secure_getenv("ZFI_TRACE_FILE");
        if (path != nullptr && *path != '\0') {
            file_.open(path);
        }
    }
}

void TraceOutput::setSink(znfi_trace_sink_fn* sink, void* context) noexcept {
    const std::lock_guard lock(mutex_);
    sink_ = {sink, context};
}

void TraceOutput::setTap(znfi_trace_sink_fn* tap, void* context) noexcept {
    const std::lock_guard lock(mutex_);
    tap_ = {tap, context};
}

int TraceOutput::openFile(const char* path) noexcept {
    const std::lock_guard lock(mutex_);
    const int error = file_.open(path);
    fileChosen_ = fileChosen_ || error == 0;
    return error;
}

void TraceOutput::setRoad(const char* road) noexcept {
    const std::lock_guard lock(mutex_);
    const std::string_view text(road == nullptr ? "" : road);
    road_[text.copy(road_, sizeof road_ - 1)] = '\0';
}

void TraceOutput::hold() noexcept {
    const std::lock_guard lock(mutex_);
    held_.prepare();
    ++holds_;
}

void TraceOutput::release() noexcept {
    const std::lock_guard lock(mutex_);
    if (holds_ > 0 && --holds_ == 0) {
        deliverHeld();
    }
}

}  // namespace znfi_runtime

void znfi_trace_sink(znfi_trace_sink_fn* sink, void* context) {
    znfi_runtime::traceOutput().setSink(sink, context);
}

void znfi_trace_tap(znfi_trace_sink_fn* tap, void* context) {
    znfi_runtime::traceOutput().setTap(tap, context);
}

int znfi_trace_file(const char* path) {
    return znfi_runtime::traceOutput().openFile(path);
}

void znfi_trace_road(const char* roadId) {
    znfi_runtime::traceOutput().setRoad(roadId);
}

void znfi_trace_hold(void) {
    znfi_runtime::traceOutput().hold();
}

void znfi_trace_release(void) {
    znfi_runtime::traceOutput().release();
}
