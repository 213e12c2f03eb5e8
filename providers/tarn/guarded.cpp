#include "guarded.h"

#include <string>

#include "cfierrormanager.h"
#include "cfimessage.h"

namespace {

icu::Formattable text(const std::string& value) {
    return znfiTextArgument(value);
}

icu::Formattable number(int value) {
    return icu::Formattable(static_cast<int32_t>(value));
}

void push(const char* id, const std::vector<icu::Formattable>& arguments, zfi_eseverity severity, int line) {
    const CFiSmartPtr<CFiMessage> message(makeCounted<CFiIcuMessage>(
        id, arguments.data(), static_cast<int>(arguments.size()), static_cast<int>(severity), kTarnSource, line));
    CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false)->pushError(message);
}

}  // namespace

void reportCaught(const EFiExecPipe& error, int line) {
    push("MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
         {text(error.codeName()), text(error.message), text(kTarnSource), number(line)}, ZFI_SEVERITY_ERROR, line);
}

void reportCaught(const CFiError& error, int line) {
    push("MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
         {text(error.getText()), text(error.getFunction()), text(error.getFileName()), number(error.getLine())},
         ZFI_SEVERITY_ERROR, line);
}

void reportCaught(const CFiUdidException& error, int line) {
    push("MSG_ERROR_UDID_PARSING_EXCEPTION", {text(error.getText()), number(error.getCode())}, ZFI_SEVERITY_ERROR,
         line);
}

void reportCaught(const std::runtime_error& error, int line) {
    push("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
         {text("std::runtime_error"), text(error.what()), text(kTarnSource), number(line)}, ZFI_SEVERITY_ERROR, line);
}

void reportCaught(int error, int line) {
    push("MSG_ERROR_UNHANDLED_INT_EXCEPTION", {number(error), text(kTarnSource), number(line)}, ZFI_SEVERITY_ERROR,
         line);
}

void reportInitializationFailed(int line) {
    push("MSG_ERROR_INITIALIZATION_FAILED", {}, ZFI_SEVERITY_CRITICAL, line);
}
