#include "command_run.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <span>
#include <utility>

#include "abandoned_children.h"
#include "child_process.h"
#include "command_line.h"
#include "deadline.h"
#include "output_capture.h"

namespace znfi_runtime {
namespace {

constexpr unsigned long kTermSeconds = 2;
constexpr unsigned long kKillSeconds = 5;

// A started command: its child and what it prints.
class RunningCommand {
  public:
    explicit RunningCommand(ChildProcess& child) : child_(child) {}

    // Collects the output to its end, then reaps the child; false when the deadline came first. The child is left
    // unreaped while its output is held open, which keeps the number of its group from being given to others.
    bool finishBefore(Deadline deadline) {
        while (!outputEnded_) {
            const Ready ready = waitUntil(child_.output(), deadline);
            if (ready == Ready::kExpired) {
                return false;
            }
            outputEnded_ = ready != Ready::kReadable || !readSome();
            outputLost_ = outputLost_ || ready == Ready::kBroken;
        }
        return child_.reapBefore(deadline);
    }

    // SIGTERM, time to obey it, SIGKILL, time to die.
    void killGroup() {
        child_.signalGroup(SIGTERM);
        const Deadline patience = deadlineAfter(kTermSeconds);
        if (finishBefore(patience) && child_.groupGoneBefore(patience)) {
            return;
        }
        child_.signalGroup(SIGKILL);
        finishBefore(deadlineAfter(kKillSeconds));
    }

    CommandOutcome outcome() const {
        const ChildEnd end = child_.end().value_or(ChildEnd{});
        if (outputLost_ || end.kind == ChildEnd::Kind::kLost) {
            return {.code = ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED};
        }
        if (end.kind == ChildEnd::Kind::kSignalled) {
            return {.code = ZFI_EXEC_PIPE_CMD_KILLED, .signal = end.value};
        }
        if (end.value != 0) {
            return {.code = ZFI_EXEC_PIPE_CMD_FAILED, .exitStatus = end.value};
        }
        return {};
    }

    const OutputCapture& captured() const { return captured_; }

  private:
    // False at the end of the output.
    bool readSome() {
        const std::span<char> room = captured_.room();
        const ssize_t count = ::read(child_.output(), room.data(), room.size());
        if (count > 0) {
            captured_.commit(static_cast<std::size_t>(count));
            return true;
        }
        const bool again = count < 0 && errno == EINTR;
        outputLost_ = outputLost_ || (count < 0 && !again);
        return again;
    }

    ChildProcess& child_;
    OutputCapture captured_;
    bool outputEnded_ = false;
    bool outputLost_ = false;
};

}  // namespace

CommandOutcome runCommand(const std::string& line, unsigned long seconds, std::vector<std::string>& output) {
    const Deadline deadline = deadlineAfter(seconds);
    reapAbandoned();
    std::optional<std::vector<std::string>> arguments = parseCommandLine(line);
    if (!arguments) {
        return {.code = ZFI_EXEC_PIPE_PARSE_COMMAND_FAILED};
    }
    const ChildProcess::Started started = ChildProcess::start(std::move(*arguments));
    if (started.code != ZFI_EXEC_PIPE_SUCCESS) {
        return {.code = started.code, .error = started.error};
    }
    RunningCommand command(*started.child);
    CommandOutcome outcome;
    if (command.finishBefore(deadline)) {
        outcome = command.outcome();
    } else {
        command.killGroup();
        outcome.code = ZFI_EXEC_PIPE_READ_TIMEOUT;
    }
    command.captured().appendTo(output);
    return outcome;
}

}  // namespace znfi_runtime
