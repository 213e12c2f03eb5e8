// A whole snapshot, held for one of this room's verbs.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/mounts/fs_lock.h"
#include "host/report/failure.h"
#include "host/transfer/standing.h"

namespace tarnctl {

struct ReadySnapshot {
    FsLock lock;
    SnapshotRecord record;
    Standing standing;
};

// kNotFound: no such snapshot. kBusy: another tarnctl works on it. kUnsupported: it is half-made, half-deleted or gone.
Result<ReadySnapshot> holdReady(const Catalog& catalog, const std::string& id, const std::string& operation);

}  // namespace tarnctl
