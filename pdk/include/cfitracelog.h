// The trace log of one plug-in and the scope that writes the entry and exit line of a function.
#pragma once

#include <atomic>
#include <cstring>

#include "cfismartptr.h"
#include "cfistring.h"
#include "znfi.h"

class CFiErrorManager;

// One per plug-in. Any thread may trace; everything else is called while the plug-in starts.
class ZNFI_API CFiTraceLog : public CFiRefCount {
  public:
    CFiTraceLog();
    ~CFiTraceLog() override;

    // Would a line of this level be written? One compare.
    static bool isEnabled(int level) { return level <= threshold_.load(std::memory_order_relaxed); }

    // Formats as printf does and hands the text to the destination (znfi.h) under this log's name. Never fails: what
    // cannot be formatted or written is dropped. A disabled level formats nothing; ask isEnabled first where making the
    // arguments is itself dear.
    void trace(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

    // name: the plug-in's name, on every line. The other arguments are kept for providers that pass them and not used.
    void initialize(const zfi_tstring& name, const zfi_tstring& directory, const zfi_tstring& file, int level,
                    bool append);
    bool isInitialized() const { return initialized_; }

    // Keeps a counted reference, replacing any earlier one.
    void registerErrorManager(const CFiSmartPtr<CFiErrorManager>& errorManager);

  private:
    friend void ::znfi_trace_set_level(int level);
    friend int ::znfi_trace_level(void);
    static std::atomic<int> threshold_;

    zfi_tstring name_;
    bool initialized_ = false;
    CFiSmartPtr<CFiErrorManager> errorManager_;
};

// Writes "Entering Function …" when made and "Exiting Function …" when destroyed, at level 6. function and file must
// outlive the scope (they are constants); file is the fixed source name, independent of where it was built.
class CFiTraceLogFunction {
  public:
    CFiTraceLogFunction(CFiSmartPtr<CFiTraceLog> log, const char* function, int line, const char* file)
        : log_(std::move(log)), function_(function), line_(line), file_(file) {
        if (CFiTraceLog::isEnabled(kLevel) && canTrace()) {
            log_->trace(kLevel, "Entering Function %s [%d, %s]", function_, line_, baseName(file_));
        }
    }
    CFiTraceLogFunction(const CFiTraceLogFunction&) = delete;
    CFiTraceLogFunction& operator=(const CFiTraceLogFunction&) = delete;
    ~CFiTraceLogFunction() {
        if (!CFiTraceLog::isEnabled(kLevel) || !canTrace()) {
            return;
        }
        if (line_ != 0) {
            log_->trace(kLevel, "Exiting Function %s [%d, %s]", function_, line_, baseName(file_));
        } else {
            log_->trace(kLevel, "Exiting Function %s", function_);
        }
    }

  private:
    static constexpr int kLevel = 6;

    // The part after the last slash; looked for only when a line is written.
    static const char* baseName(const char* path) {
        const char* slash = std::strrchr(path, '/');
        return slash == nullptr ? path : slash + 1;
    }
    bool canTrace() const { return log_ && function_ != nullptr && file_ != nullptr; }

    CFiSmartPtr<CFiTraceLog> log_;
    const char* function_;
    int line_;
    const char* file_;
};
