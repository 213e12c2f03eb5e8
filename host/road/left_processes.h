// What a killed tarnctl leaves running: commands that it started and that go on without it, and its freeze guard.
// Taking its snapshot apart has to come after them, or they would put back what is taken away.
//
// Both functions are for the holder of the file system's lock: then no living tarnctl can be meant.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "host/report/failure.h"

namespace tarnctl {

// Waits until no command of the road (freeze, mount, umount, mkdir, rmdir) with one of these paths among its arguments
// runs any more. kBusy with its process id when one still does after the limit.
Status awaitCommandsOn(const std::vector<std::string>& paths,
                       std::chrono::milliseconds limit = std::chrono::seconds(10));

// Ends the guards that hold a directory of this file system, and waits for their end. Only after a thaw, and when no
// freeze can come any more: a guard whose host died before its freeze command began goes on thawing for as long as that
// command might have taken, and would end the freeze of the next snapshot.
Status endGuardsOf(dev_t fileSystem, const std::string& subject);

}  // namespace tarnctl
