// The command runner: one command line, run as a child process without a shell, its output collected line by line.
//
//     CFiExecPipePosix runner(1);
//     runner.traceLog = log;
//     if (runner.Exec(command, output, "", 600, "", "", "") != ZFI_EXEC_PIPE_SUCCESS) {
//         throw EFiExecPipe(runner.getLastError());
//     }
//
// Command line: only the blank separates arguments; double quotes group, also inside a word, and "" is an empty
// argument; no other character is special. The program is named by its absolute path: it is never searched for.
// The child: standard input /dev/null, standard output and error merged into the collected output, no other descriptor
// inherited, no signal blocked or ignored, directory /, environment exactly PATH=/usr/sbin:/usr/bin:/sbin:/bin,
// LC_ALL=C and LANG=C, a process group of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cfiexecpipecodes.h"
#include "cfismartptr.h"
#include "cfitracelog.h"
#include "znfi.h"

// What went wrong in the last run; all empty and zero when nothing did.
struct ZfiExecPipeErrorRecord {
    std::string message;          // the command line
    std::wstring wideMessage;     // the same, read as UTF-8; a byte that is not UTF-8 becomes U+FFFD
    std::int32_t code = 0;        // zfi_eexecpipe
    std::int64_t exitStatus = 0;  // the command's exit status, only with ZFI_EXEC_PIPE_CMD_FAILED
};

// Thrown by callers of the runner, never by the runner. Not polymorphic: it is caught by exactly this type.
class EFiExecPipe {
  public:
    explicit EFiExecPipe(const ZfiExecPipeErrorRecord& record)
        : message(record.message), wideMessage(record.wideMessage), code(record.code), exitStatus(record.exitStatus) {}

    // Name of the code; never null.
    const char* codeName() const noexcept { return znfi_pdk_4_4::execPipeErrorName(code); }

    std::string message;
    std::wstring wideMessage;
    std::int32_t code;
    std::int64_t exitStatus;
};

// One object runs any number of commands, one after the other; different objects may be used by different threads at
// the same time. The calling thread waits; signals that it catches do not end the wait.
class ZNFI_API CFiExecPipeBase {
  public:
    CFiExecPipeBase(const CFiExecPipeBase&) = delete;
    CFiExecPipeBase& operator=(const CFiExecPipeBase&) = delete;
    virtual ~CFiExecPipeBase();

    // Runs command and returns a zfi_eexecpipe; getLastError() then tells the rest. timeout: seconds; 0 leaves no time.
    // A command is finished when its output has ended and the child is reaped, so a process that it leaves behind with
    // its output keeps it running. When the time is up the process group gets SIGTERM, 2 s later SIGKILL, and at most
    // 5 s later the result is ZFI_EXEC_PIPE_READ_TIMEOUT. Where SIGCHLD is ignored, or somebody else waits for the
    // child, its status is lost: ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED, never a success.
    //
    // output: one element per line is appended, without line ends, NUL bytes kept, whatever the result. Up to 8 MiB
    // nothing is dropped; beyond that at least the first 64 KiB and the last 1 MiB, around one marker line.
    //
    // The four reserved strings have no meaning here and must be empty: with any other value nothing is started
    // and the result is ZFI_EXEC_PIPE_ERROR_UNEXPECTED. Throws nothing but std::bad_alloc.
    int Exec(std::string command, std::vector<std::string>& output, std::string reserved1, unsigned long timeout,
             std::string reserved2, std::string reserved3, std::string reserved4);

    // The record of the last run, valid until the next one.
    const ZfiExecPipeErrorRecord& getLastError() const noexcept { return lastError_; }

    // Where the runner writes its own lines, all of level 7; may stay empty.
    CFiSmartPtr<CFiTraceLog> traceLog;

  protected:
    CFiExecPipeBase() = default;

  private:
    // Runs the command and returns the code; sets exitStatus with ZFI_EXEC_PIPE_CMD_FAILED only.
    virtual int run(const std::string& command, std::vector<std::string>& output, unsigned long timeout,
                    std::int64_t& exitStatus) = 0;

    ZfiExecPipeErrorRecord lastError_;
};

// The runner of this system.
class ZNFI_API CFiExecPipePosix : public CFiExecPipeBase {
  public:
    // The argument is 1 by convention and has no effect.
    explicit CFiExecPipePosix(int convention);
    ~CFiExecPipePosix() override;

  private:
    int run(const std::string& command, std::vector<std::string>& output, unsigned long timeout,
            std::int64_t& exitStatus) override;
};
