#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "cfierrormanager.h"
#include "cfitracelog.h"
#include "trace/scratch_text.h"
#include "trace/trace_output.h"

namespace {

using znfi_runtime::ScratchText;

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

// The formatted text, as long as the scratch lives; nothing when it cannot be formatted or memory is out.
[[gnu::format(printf, 2, 0)]] std::string_view formatted(ScratchText& scratch, const char* format,
                                                         va_list arguments) noexcept {
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
    return size < 0 || text == nullptr ? std::string_view() : std::string_view(text, static_cast<size_t>(size));
}

// Kept out of line: a caller at a disabled level pays for the compare and not for this frame.
[[gnu::noinline, gnu::format(printf, 3, 0)]] void write(const zfi_tstring& name, int level, const char* format,
                                                        va_list arguments) noexcept {
    ScratchText scratch;
    const std::string_view text = formatted(scratch, format, arguments);
    if (text.data() != nullptr) {
        znfi_runtime::traceOutput().write(level, {name.c_str(), name.length()}, text);
    }
}

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
    if (!isEnabled(level) || format == nullptr) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    write(name_, level, format, arguments);
    va_end(arguments);
}

void CFiTraceLog::initialize(const zfi_tstring& name, const zfi_tstring&, const zfi_tstring&, int, bool) {
    name_ = name;
    initialized_ = true;
}

void CFiTraceLog::registerErrorManager(const CFiSmartPtr<CFiErrorManager>& errorManager) {
    errorManager_ = errorManager;
}
