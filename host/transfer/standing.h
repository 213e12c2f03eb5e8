// Where a snapshot stands between mounted and unmounted: read from its steps, which are the only record of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

struct Standing {
    // The state of the record, where that is ready one of: "ready" (mounted), "unmounted", "mounting", "unmounting".
    // The last two without a living tarnctl are half done; mount and umount finish them.
    std::string state;
    std::optional<MountUndo> mounted;       // what is, or may be, mounted
    std::optional<MountUndo> lastMounted;   // the last one, gone or not
    std::optional<ImportFacts> imported;    // of a snapshot that was made on another host
    std::optional<Superblock> superblock;   // as it was seen last
    std::vector<StepKey> unfinishedUmount;  // of a umount that was killed
};

Result<Standing> standingOf(const Catalog& catalog, const SnapshotRecord& record);

}  // namespace tarnctl
