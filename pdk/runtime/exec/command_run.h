// Runs one command line to its end or to its deadline.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cfiexecpipecodes.h"

namespace znfi_runtime {

struct CommandOutcome {
    zfi_eexecpipe code = ZFI_EXEC_PIPE_SUCCESS;
    std::int64_t exitStatus = 0;  // only with code 11
    int signal = 0;               // only with code 12
    int error = 0;                // errno of a command that could not be started
};

// Finished means: the output has ended and the child is reaped, both within `seconds` (0: no time at all; more than a
// hundred years: a hundred years). A process that the child leaves behind with its output keeps the command running.
// When the time is up the process group gets SIGTERM, after 2 s SIGKILL, and at most 5 s later this returns with
// code 5. What was printed until then is appended to `output` line by line, whatever the code. Any thread; only memory
// running out throws, and then the group is killed.
CommandOutcome runCommand(const std::string& line, unsigned long seconds, std::vector<std::string>& output);

}  // namespace znfi_runtime
