#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "cfierrormanager.h"
#include "cfitracelog.h"
#include "trace/scratch_text.h"
#include "trace/trace_output.h"

namespace {

constexpr int kDefaultLevel = 2;

// The start value comes from the environment once, when the library is loaded.
struct StartLevel {
    StartLevel() {
        const char* text = secure_getenv("ZFI_TRACE_LEVEL");
        if (text != nullptr && text[0] >= '0' && text[0] <= '7' && text[1] == '\0') {
            znfi_trace_set_level(text[0] - '0');
        }
    }
};

}  // namespace

std::atomic<int> CFiTraceLog::threshold_{kDefaultLevel};

namespace {
const StartLevel startLevel;
}

void znfi_trace_set_level(int level) {
    CFiTraceLog::threshold_.store(level, std::memory_order_relaxed);
}

int znfi_trace_level(void) {
    return CFiTraceLog::threshold_.load(std::memory_order_relaxed);
}

CFiTraceLog::CFiTraceLog() = default;

CFiTraceLog::~CFiTraceLog() = default;

void CFiTraceLog::trace(int level, const char* format, ...) {
    using znfi_runtime::ScratchText;
    if (!isEnabled(level) || format == nullptr) {
        return;
    }
    ScratchText scratch;
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    char* text = scratch.reserve(ScratchText::kOnStack);
    const int size = std::vsnprintf(text, ScratchText::kOnStack, format, arguments);
    if (size >= static_cast<int>(ScratchText::kOnStack)) {
        const size_t room = static_cast<size_t>(size) + 1;
        text = scratch.reserve(room);
        if (text != nullptr) {
            std::vsnprintf(text, room, format, again);
        }
    }
    va_end(again);
    va_end(arguments);
    if (size >= 0 && text != nullptr) {
        znfi_runtime::traceOutput().write(level, {name_.c_str(), name_.length()}, {text, static_cast<size_t>(size)});
    }
}

void CFiTraceLog::initialize(const zfi_tstring& name, const zfi_tstring&, const zfi_tstring&, int, bool) {
    name_ = name;
    initialized_ = true;
}

void CFiTraceLog::registerErrorManager(const CFiSmartPtr<CFiErrorManager>& errorManager) {
    errorManager_ = errorManager;
}
