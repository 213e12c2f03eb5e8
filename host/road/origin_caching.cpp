#include "host/road/origin_caching.h"

#include <string>
#include <vector>

#include "host/road/write_through.h"

namespace tarnctl {

Status switchCachingOff(SnapshotInMaking& making) {
    if (!making.snapshot.isThrough) {
        return Done{};
    }
    making.sync = syncUndoOf(*making.fileSystem, *making.origin);
    auto intended = making.catalog.intend(making.snapshot.id, intentOf(step::kSync, making.sync));
    if (!intended) {
        return intended.failure();
    }
    making.syncStep = *intended;
    if (Status switched = writeThrough(*making.fileSystem, making.sync); !switched) {
        return switched;
    }
    return making.catalog.finish({*intended, StepOutcome::kDone, {}});
}

Status switchCachingOn(SnapshotInMaking& making) {
    if (!making.syncStep) {
        return Done{};
    }
    auto enabled = writeBackAgain(*making.fileSystem, making.sync);
    std::vector<std::string> warnings = enabled ? *enabled : enabled.failure().traceLines;
    if (!enabled) {
        warnings.push_back(enabled.failure().cause);
        if (Status noted = making.catalog.noteUndoFailure(*making.syncStep, enabled.failure().cause); !noted) {
            return noted;
        }
    } else if (Status undone = making.catalog.undone(*making.syncStep); !undone) {
        return undone;
    }
    making.snapshot.warnings.insert(making.snapshot.warnings.end(), warnings.begin(), warnings.end());
    return Done{};
}

}  // namespace tarnctl
