// Ctrl-C and its relatives: noted, and acted upon by the road between two steps, never in the middle of one.
#pragma once

#include "host/report/failure.h"

namespace tarnctl {

// Turns SIGINT, SIGTERM and SIGHUP into a note from now on. Once per process.
void noteInterruptions();

// The same, but a wait of this process ends early with EINTR: for the time in which a command of the caller runs.
void noteInterruptionsWithoutRestart();

// The signal that came, or 0.
int interruption();

// Forgets it: what follows is the undoing, which must run to its end.
void forgetInterruption();

// A failure when a signal came; otherwise done.
Status refuseWhenInterrupted(const std::string& operation, const std::string& subject);

}  // namespace tarnctl
