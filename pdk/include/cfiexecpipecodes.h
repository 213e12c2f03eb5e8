// Result codes of the command runner and their names.
//
// The names are interface: scripts, messages and catalogues carry them. Both the codes and the table are compiled into
// whoever includes this header, so that a provider can name a code without asking the runtime.
#pragma once

#include <cstddef>

// What CFiExecPipeBase::Exec answers. 1 to 4 and 6 to 10: the command did not run. 5 and 11 to 13: it was started.
enum zfi_eexecpipe : int {
    ZFI_EXEC_PIPE_SUCCESS = 0,                      // output ended, exit status 0
    ZFI_EXEC_PIPE_CREATE_PIPE_FAILED = 1,           // no pipe for the output
    ZFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED = 2,      // a descriptor could not be moved out of the range 0 to 2
    ZFI_EXEC_PIPE_CLOSE_HANDLE_FAILED = 3,          // not answered on this system
    ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED = 4,  // not executable, arguments too long, no process to be had
    ZFI_EXEC_PIPE_READ_TIMEOUT = 5,                 // not finished in time; the process group was killed
    ZFI_EXEC_PIPE_PARSE_COMMAND_FAILED = 6,         // unbalanced quote, empty line, NUL byte
    ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST = 7,           // no such program (or its interpreter)
    ZFI_EXEC_PIPE_ERROR_UNEXPECTED = 8,             // anything else that kept the command from being started
    ZFI_EXEC_PIPE_IMPERSONATION_TIMEOUT = 9,        // not answered on this system
    ZFI_EXEC_PIPE_CANNOT_IMPERSONATE = 10,          // not answered on this system
    ZFI_EXEC_PIPE_CMD_FAILED = 11,                  // exit status other than 0
    ZFI_EXEC_PIPE_CMD_KILLED = 12,                  // ended by a signal
    ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED = 13,        // ran, but its status or output was lost: never a success
};

namespace znfi_pdk_4_4 {

inline constexpr std::size_t ZFI_EXEC_PIPE_ERROR_COUNT = 14;

// Indexed by zfi_eexecpipe.
inline constexpr const char* ZFI_EXEC_PIPE_ERROR_STRINGS[ZFI_EXEC_PIPE_ERROR_COUNT] = {
    "ZFI_EXEC_PIPE_SUCCESS",
    "ZFI_EXEC_PIPE_CREATE_PIPE_FAILED",
    "ZFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED",
    "ZFI_EXEC_PIPE_CLOSE_HANDLE_FAILED",
    "ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED",
    "ZFI_EXEC_PIPE_READ_TIMEOUT",
    "ZFI_EXEC_PIPE_PARSE_COMMAND_FAILED",
    "ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST",
    "ZFI_EXEC_PIPE_ERROR_UNEXPECTED",
    "ZFI_EXEC_PIPE_IMPERSONATION_TIMEOUT",
    "ZFI_EXEC_PIPE_CANNOT_IMPERSONATE",
    "ZFI_EXEC_PIPE_CMD_FAILED",
    "ZFI_EXEC_PIPE_CMD_KILLED",
    "ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED",
};

// Name of a result code; a number outside the table yields "unknown code". Never null, static storage.
constexpr const char* execPipeErrorName(int code) noexcept {
    const bool known = code >= 0 && static_cast<std::size_t>(code) < ZFI_EXEC_PIPE_ERROR_COUNT;
    return known ? ZFI_EXEC_PIPE_ERROR_STRINGS[code] : "unknown code";
}

}  // namespace znfi_pdk_4_4
