#include "command.h"

#include "cfistringtool.h"
#include "tarn_trace.h"

Command::Command() : runner_(1) {
    runner_.traceLog = tarnLog();
}

int Command::run(const std::string& line) {
    output_.clear();
    return runner_.Exec(line, output_, "", kTimeout, "", "", "");
}

bool Command::announceAndRun(const std::string& line) {
    tarnLog()->trace(kTraceProgress, "Command : %s", line.c_str());
    return run(line) == ZFI_EXEC_PIPE_SUCCESS;
}

std::string Command::text() const {
    return CFiStringTool::join(output_);
}

void Command::raise() const {
    throw EFiExecPipe(runner_.getLastError());
}

std::string quoted(const std::string& operand) {
    return '"' + operand + '"';
}

std::string quotedPair(const std::string& device, const std::string& mountPoint) {
    return quoted(device) + ' ' + quoted(mountPoint);
}
