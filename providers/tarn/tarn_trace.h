// Tracing of the file-system plug-in: its log, its levels, the scope of a method.
#pragma once

#include "cfiplugincontext.h"
#include "cfitracelog.h"

// The source that scopes and messages name, wherever this was built and whichever file a method stands in.
inline constexpr const char* kTarnSource = "providers/tarn/tarn_plugin";

inline constexpr int kTraceError = 1;
inline constexpr int kTraceWarning = 2;
inline constexpr int kTraceProgress = 3;
inline constexpr int kTraceDetail = 6;

// Never null; made on first use.
inline CFiSmartPtr<CFiTraceLog> tarnLog() {
    return CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false);
}

// Entry and exit line of a method. method: a constant; line: where the scope stands.
class MethodScope : public CFiTraceLogFunction {
  public:
    explicit MethodScope(const char* method, int line = __builtin_LINE())
        : CFiTraceLogFunction(tarnLog(), method, line, kTarnSource) {}
};
