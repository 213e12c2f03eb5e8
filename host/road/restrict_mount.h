// Gives a mount the restrictions of another one.
#pragma once

#include <string>

#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

struct Restrictions {
    bool noSuid = true;
    bool noDev = true;
    bool noExec = true;
};

Restrictions restrictionsOf(const MountEntry& origin);

// The mount at point gets these restrictions, and read-only; nothing is ever taken away.
Status restrictMount(const Restrictions& restrictions, const std::string& point);

}  // namespace tarnctl
