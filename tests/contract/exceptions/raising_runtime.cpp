#include "exceptions/raising_runtime.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "cfierrormanager.h"
#include "cfiexecpipe.h"
#include "cfimessagecatalog.h"
#include "cfitracelog.h"

namespace {

std::function<void()> inRunner;
std::function<void()> inTrace;
std::function<void()> inCatalog;
std::function<void()> inPush;
std::string raisingCommand;
int registrations = 0;
int answer = 0;  // 0: the real one
std::vector<raising::Run> runs;

void raiseOnce(std::function<void()>& raise) {
    if (raise) {
        std::exchange(raise, nullptr)();
    }
}

// A member function as the plain function that it is on x86-64: the object first.
template <typename Function>
Function* next(const char* mangled) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, mangled));
}

using Lines = std::vector<std::string>;
using ExecFunction = int(CFiExecPipeBase*, std::string, Lines&, std::string, unsigned long, std::string, std::string,
                         std::string);
using TraceFunction = void(CFiTraceLog*, int, const char*, ...);
using PushFunction = void(CFiErrorManager*, const CFiSmartPtr<CFiMessage>&);
using RegisterFunction = void(CFiMessageCatalogManager*, const CFiSmartPtr<CFiMessageCatalogFactory>&);

}  // namespace

namespace raising {

void raiseInRunner(std::function<void()> raise, std::string command) {
    inRunner = std::move(raise);
    raisingCommand = std::move(command);
}
void raiseInTrace(std::function<void()> raise) {
    inTrace = std::move(raise);
}
void raiseInCatalog(std::function<void()> raise) {
    inCatalog = std::move(raise);
}
void raiseInPush(std::function<void()> raise) {
    inPush = std::move(raise);
}
void answerInRunner(int code) {
    answer = code;
}
int takeRegistrations() {
    return std::exchange(registrations, 0);
}
std::vector<Run> takeRuns() {
    return std::exchange(runs, {});
}

}  // namespace raising

int CFiExecPipeBase::Exec(std::string command, Lines& output, std::string a, unsigned long timeout, std::string b,
                          std::string c, std::string d) {
    static auto* real = next<ExecFunction>(
        "_ZN15CFiExecPipeBase4ExecENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERSt6vectorIS5_SaIS5_EES5_mS5_S5_"
        "S5_");
    runs.push_back({command, timeout, (a + b + c + d).empty()});
    if (command.rfind(raisingCommand, 0) == 0) {
        raiseOnce(inRunner);
    }
    if (answer != 0) {
        return std::exchange(answer, 0);
    }
    return real(this, std::move(command), output, std::move(a), timeout, std::move(b), std::move(c), std::move(d));
}

void CFiMessageCatalogManager::registerFactory(const CFiSmartPtr<CFiMessageCatalogFactory>& factory) {
    static auto* real = next<RegisterFunction>(
        "_ZN24CFiMessageCatalogManager15registerFactoryERK11CFiSmartPtrI24CFiMessageCatalogFactoryE");
    ++registrations;
    raiseOnce(inCatalog);
    real(this, factory);
}

void CFiErrorManager::pushError(const CFiSmartPtr<CFiMessage>& message) {
    static auto* real = next<PushFunction>("_ZN15CFiErrorManager9pushErrorERK11CFiSmartPtrI10CFiMessageE");
    raiseOnce(inPush);
    real(this, message);
}

void CFiTraceLog::trace(int level, const char* format, ...) {
    static auto* real = next<TraceFunction>("_ZN11CFiTraceLog5traceEiPKcz");
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (std::string(text).find("ing Function ") == std::string::npos) {
        raiseOnce(inTrace);
    }
    real(this, level, "%s", text);
}
