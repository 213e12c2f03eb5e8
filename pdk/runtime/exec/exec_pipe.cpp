#include <unicode/ustring.h>

#include <cstring>
#include <type_traits>

#include "cfiexecpipe.h"
#include "command_run.h"

static_assert(!std::is_polymorphic_v<EFiExecPipe>);

namespace {

constexpr int kTraceLevel = 7;

// Each UTF-8 byte makes at most one UTF-16 unit, and each of these at most one wide character.
std::wstring widened(const std::string& text) {
    constexpr UChar32 kReplacement = 0xFFFD;
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    std::u16string units(text.size() + 1, u'\0');
    u_strFromUTF8WithSub(units.data(), static_cast<int32_t>(units.size()), &length, text.data(),
                         static_cast<int32_t>(text.size()), kReplacement, nullptr, &status);
    std::wstring wide(text.size() + 1, L'\0');
    u_strToWCS(wide.data(), static_cast<int32_t>(wide.size()), &length, units.data(), length, &status);
    wide.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return wide;
}

}  // namespace

CFiExecPipeBase::~CFiExecPipeBase() = default;

int CFiExecPipeBase::Exec(std::string command, std::vector<std::string>& output, std::string reserved1,
                          unsigned long timeout, std::string reserved2, std::string reserved3, std::string reserved4) {
    lastError_ = {};
    int code = ZFI_EXEC_PIPE_ERROR_UNEXPECTED;
    std::int64_t exitStatus = 0;
    if (reserved1.empty() && reserved2.empty() && reserved3.empty() && reserved4.empty()) {
        code = run(command, output, timeout, exitStatus);
    }
    if (code != ZFI_EXEC_PIPE_SUCCESS) {
        lastError_ = {command, widened(command), code, exitStatus};
    }
    return code;
}

CFiExecPipePosix::CFiExecPipePosix(int) {}

CFiExecPipePosix::~CFiExecPipePosix() = default;

int CFiExecPipePosix::run(const std::string& command, std::vector<std::string>& output, unsigned long timeout,
                          std::int64_t& exitStatus) {
    const znfi_runtime::CommandOutcome outcome = znfi_runtime::runCommand(command, timeout, output);
    exitStatus = outcome.exitStatus;
    if (traceLog && CFiTraceLog::isEnabled(kTraceLevel)) {
        traceLog->trace(kTraceLevel, "command [%s]: %s, exit status %lld, signal %d, system error %d (%s)",
                        command.c_str(), znfi_pdk_4_4::execPipeErrorName(outcome.code),
                        static_cast<long long>(outcome.exitStatus), outcome.signal, outcome.error,
                        strerrordesc_np(outcome.error));
    }
    return outcome.code;
}
