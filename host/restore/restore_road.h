// The road of a restore: look at everything, unmount the origin, write the snapshot back over it, mount it again. Every
// step is in the record of the snapshot before it happens. Until the first byte is written a failure is followed by
// mounting the origin as it was; after that there is only one way, forward, and the record says so.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/mounts/fs_lock.h"
#include "host/mounts/mount_table.h"
#include "host/report/failure.h"
#include "host/restore/origin_access.h"
#include "host/restore/restore_steps.h"
#include "host/restore/volume_restore.h"

namespace tarnctl {

struct RestoreRequest {
    std::string id;
    bool isForced = false;      // users of the origin may be ended
    std::string despiteBroken;  // why a broken snapshot is restored all the same; empty: it is not
};

struct Restored {
    std::string id;
    std::string mountPoint;
    std::string device;      // the origin's, as it is called now
    bool isMounted = false;  // as it was found; false: it was not mounted, and is not now
    bool wasUnfinished = false;
    std::vector<std::string> warnings{};
};

class RestoreRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    RestoreRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // One restore per object. Also goes on with one that was interrupted. Call it in the working directory of the
    // caller.
    Result<Restored> restore(const RestoreRequest& request);

  private:
    // Before the first step, in order (restore_looks.cpp).
    Status lookAtRecord();
    Status refuseUnfit() const;
    Status refuseOtherRestores() const;
    Status lookAtOrigin();
    Status lookAtSnapshot();
    Status checkVolume();
    Status lockOrigin();
    // The steps, in order.
    Status rememberMount();
    Status unmount();
    Status write();
    Status mountAgain();
    Result<Restored> onlyMount();
    Failure rollBack(Failure cause);
    Status noteBack();

    Providers& providers_;
    Catalog& catalog_;
    RestoreRequest request_;
    SnapshotRecord record_;
    UnfinishedRestore unfinished_;
    std::optional<FsLock> snapshotLock_;
    std::optional<FsLock> originLock_;
    std::optional<MountEntry> mounted_;  // the origin, where it is mounted now
    std::optional<DisableUndo> undo_;    // set when the origin is to be mounted in the end
    std::optional<StepKey> disabled_;
    std::optional<VolumeRestore> volume_;
    std::optional<OriginAccess> access_;
    Restored restored_;
};

}  // namespace tarnctl
