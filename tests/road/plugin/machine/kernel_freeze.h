// Asking the kernel itself whether a file system is frozen.
#pragma once

#include <string>

namespace road {

// 0, or errno: EBUSY where it is frozen already.
int freeze(const std::string& mountPoint);
// 0, or errno: EINVAL where it was not frozen.
int thaw(const std::string& mountPoint);

}  // namespace road
