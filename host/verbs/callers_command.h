// Runs a command on the caller's behalf: with the caller's umask, signals, descriptors and environment, unlike the
// commands of the road.
#pragma once

#include <string>
#include <vector>

#include "host/installation.h"
#include "host/report/failure.h"

namespace tarnctl {

struct Ended {
    int code = 0;  // the command's exit status, or 128 + the signal that ended it
};

// Waits for its end. An interruption of this process is passed on to it (a terminal tells both of us, kill PID only us)
// and forgotten. With JSON its standard output goes to our standard error, so that ours stays one document.
// kCommandFailed when it cannot be started. One thread.
Result<Ended> runForCaller(const std::vector<std::string>& command, const Settings& settings);

}  // namespace tarnctl
