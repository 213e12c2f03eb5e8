// What is left to do of a restore that was interrupted, from its record alone. Doing it twice is harmless.
#pragma once

#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"
#include "host/restore/origin_access.h"
#include "host/restore/restore_steps.h"
#include "host/restore/volume_restore.h"

namespace tarnctl {

// One thread; everything is borrowed. The caller holds the locks of the snapshot and of the origin's file system.
class FinishRestore {
  public:
    FinishRestore(const Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // The step, which is intended, comes to its end: the snapshot is written back whole. What kept it from that is also
    // noted in the record.
    Status write(const StepRecord& restore);
    // The origin is mounted as it was, whether or not it was ever unmounted. Not while a restore of it is half written:
    // kFailed then. The step's state is the caller's to note. Answers the device that the origin has now.
    Result<std::string> mount(const StepRecord& disable, std::vector<std::string>& warnings);

  private:
    const Providers& providers_;
    Catalog& catalog_;
};

// The one write of an intended restore, with the origin in nobody's use: what the road and finishing it share. Answers
// the origin's device; notes in the record how it ended. While the record goes on calling the step intended, the origin
// must not be mounted: the failure says so, and what to type. `wasHalf`: an earlier process had begun to write.
Result<std::string> writeBack(Catalog& catalog, VolumeRestore& volume, const StepKey& key, bool wasHalf);

}  // namespace tarnctl
