// Base of everything that carries a trace log.
#pragma once

#include "cfitracelog.h"

class ZNFI_API CFiTraceable {
  public:
    CFiTraceable() = default;
    CFiTraceable(const CFiTraceable&) = delete;
    CFiTraceable& operator=(const CFiTraceable&) = delete;
    virtual ~CFiTraceable() = default;

    // Keeps a counted reference, replacing any earlier one.
    virtual void registerTraceLog(const CFiSmartPtr<CFiTraceLog>& log) { traceLog_ = log; }
    const CFiSmartPtr<CFiTraceLog>& traceLog() const { return traceLog_; }

  private:
    CFiSmartPtr<CFiTraceLog> traceLog_;
};
