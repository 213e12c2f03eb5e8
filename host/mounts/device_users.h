// Who uses the device of a mounted snapshot, beside the mount that is about to go.
#pragma once

#include <chrono>
#include <string>

#include "host/report/failure.h"

namespace tarnctl {

// Refuses (kBusy, with who) when the device, mounted at `point`, is used in another way too: mounted at a second place,
// in another mount name space that would not lose it together with ours, part of another block device, or held open by
// a process. Unmounting it would then be half of the work. Whoever only looks at it is waited for, at most `patience`.
// Where it is not mounted at `point` nothing is refused: nothing would be unmounted. Processes that work in the mounted
// tree are not looked for: the unmount itself refuses them before it changes anything.
// `device`: as the kernel calls it, "/dev/loop4". Reads only.
Status refuseOtherUsers(const std::string& device, const std::string& point,
                        std::chrono::milliseconds patience = std::chrono::seconds(2));

}  // namespace tarnctl
