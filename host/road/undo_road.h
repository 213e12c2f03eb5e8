// Takes a snapshot apart from its record alone, whole or half-made: newest step first, each only where its effect is
// still there. Doing it twice is harmless.
#pragma once

#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

class UndoRoad {
  public:
    // Borrowed. The caller holds the locks of the snapshot and its file system, or takes them with undoAlone.
    UndoRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // Stops at the first step that cannot be undone: what lies below it is still in use. kBusy when the copy is, with
    // nothing undone where that can be seen before.
    Status undo(const std::string& snapshotId);
    // The same after making sure that no other tarnctl works on that snapshot or that file system.
    Status undoAlone(const std::string& snapshotId);
    // One step, where its effect is still there. The catalog is not told.
    Status undoStep(const StepRecord& step);

  private:
    Status undoBesideOrigin(const std::string& snapshotId);
    Status refuseInUse(const std::vector<StepRecord>& steps);
    Status detach(const AttachUndo& undo);
    Status unmount(const MountUndo& undo);
    Status leaveDirectoryAsItWas(const MountUndo& undo);
    Status disposeOfVolume(const StepRecord& step, const VolumeUndo& undo);
    Status thaw(const FreezeUndo& undo);
    Status switchCachingOn(const StepRecord& step, const SyncUndo& undo);

    Providers& providers_;
    Catalog& catalog_;
};

}  // namespace tarnctl
