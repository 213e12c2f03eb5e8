// The commands of one method: one runner, one list of output lines.
#pragma once

#include <string>
#include <vector>

#include "cfiexecpipe.h"

// A method announces a command in the trace before it runs it, says in the trace what failed, and then raises:
//
//     Command command;
//     const std::string line = "/bin/rmdir  " + directory;
//     if (!command.announceAndRun(line)) {
//         tarnLog()->trace(kTraceError, "command '%s' failed with message '%s'.", line.c_str(),
//         command.text().c_str()); command.raise();
//     }
class Command {
  public:
    static constexpr int kTimeout = 600;  // seconds

    Command();

    // Runs the line; the output of the command before is dropped. The runner's result code, 0 for success.
    int run(const std::string& line);
    // Traces "Command : %s" at level 3 and runs the line. Did it succeed?
    bool announceAndRun(const std::string& line);

    const std::vector<std::string>& output() const { return output_; }
    // The output lines with nothing between them.
    std::string text() const;

    // Throws EFiExecPipe with the record of the last run.
    [[noreturn]] void raise() const;

  private:
    CFiExecPipePosix runner_;
    std::vector<std::string> output_;
};

// The operand in double quotes.
std::string quoted(const std::string& operand);
// What ends most mount commands: device and mount point, both in double quotes, a blank between them.
std::string quotedPair(const std::string& device, const std::string& mountPoint);
