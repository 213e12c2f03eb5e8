// Ctrl-C and its relatives: noted, and acted upon by the road between two steps, never in the middle of one.
#pragma once

#include <csignal>

#include "host/report/failure.h"

namespace tarnctl {

inline constexpr int kInterruptions[] = {SIGINT, SIGTERM, SIGHUP};

// Turns them into a note from now on, except those that the caller has us ignore. Once per process.
void noteInterruptions();

// The signal that came, or 0.
int interruption();

// Forgets it: what follows is the undoing, which must run to its end.
void forgetInterruption();

// A failure when a signal came; otherwise done.
Status refuseWhenInterrupted(const std::string& operation, const std::string& subject);

// For a call that may take minutes and cannot be cut short: while this lives, a signal is answered at once on standard
// error, so that nobody takes us for hanging. Not while a file system is frozen. One at a time.
class AnswerInterruptions {
  public:
    explicit AnswerInterruptions(const char* text);  // borrowed; with its line break
    ~AnswerInterruptions();
    AnswerInterruptions(const AnswerInterruptions&) = delete;
    AnswerInterruptions& operator=(const AnswerInterruptions&) = delete;
};

}  // namespace tarnctl
