// Gives a mount the restrictions of another one.
#pragma once

#include <string>

#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

// The mount at point gets the nosuid, nodev and noexec of origin, and read-only; nothing is ever taken away.
Status restrictLike(const MountEntry& origin, const std::string& point);

}  // namespace tarnctl
