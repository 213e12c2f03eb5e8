#include "host/road/snapshot_road.h"

#include <utility>

#include "host/road/alternate_mount.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/origin_caching.h"
#include "host/road/origin_claim.h"
#include "host/road/snapshot_record.h"
#include "host/road/undo_road.h"
#include "host/road/volume_cut.h"

namespace tarnctl {

Result<Snapshot> SnapshotRoad::make(const std::string& path, Caching caching) {
    const AwayFromHere away;
    making_.snapshot.isThrough = caching == Caching::kOffMeanwhile;
    if (Status walked = walk(path); !walked) {
        Failure cause = std::move(walked.failure());
        rollBack(cause);
        return cause;
    }
    return making_.snapshot;
}

Status SnapshotRoad::walk(const std::string& path) {
    if (Status seen = lookAt(making_, path); !seen) {
        return seen;
    }
    for (auto* next : {claimNodes, refuseUnsafe, recordSnapshot, reserveSnapshot, switchCachingOff, cutVolume,
                       switchCachingOn, handOver, mountAlternate, initAlternate}) {
        if (Status status = refuseWhenInterrupted("snapshot", making_.origin->point); !status) {
            return status;
        }
        if (Status status = next(making_); !status) {
            return status;
        }
    }
    return making_.catalog.setState(making_.snapshot.id, SnapshotState::kReady);
}

void SnapshotRoad::rollBack(Failure& cause) {
    if (making_.snapshot.id.empty()) {
        return;
    }
    forgetInterruption();
    making_.directory.reset();  // an open directory would keep the file system busy
    making_.alternate.reset();
    if (Status undone = UndoRoad(making_.providers, making_.catalog).undo(making_.snapshot.id); !undone) {
        cause.undoing.push_back(std::move(undone.failure()));
    }
}

}  // namespace tarnctl
