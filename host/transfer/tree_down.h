// The way down of a mounted snapshot: unmounted, its device detached, its file at rest.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"

namespace tarnctl {

// The snapshot's lock is held by the caller. Both touch only what is recorded and still there, so repeating them is
// harmless, also after a kill at any point.

// Unmounts what is, or may be, mounted. kBusy with nothing done when somebody works in it or uses its device.
Status unmountTree(Providers& providers, Catalog& catalog, const std::string& snapshotId);

// Detaches the unmounted snapshot's device. kBusy: somebody uses it.
Status detachTree(Providers& providers, Catalog& catalog, const std::string& snapshotId);

// Both.
Status takeTreeDown(Providers& providers, Catalog& catalog, const std::string& snapshotId);

}  // namespace tarnctl
