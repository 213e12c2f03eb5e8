// The road of one file system through a snapshot: claim, prepare, freeze, make, thaw, mount, record. Every step is in
// the catalog before it happens; when one fails, everything before it is undone from there.
#pragma once

#include <string>

#include "host/report/failure.h"
#include "host/road/snapshot_in_making.h"

namespace tarnctl {

// Whether the origin is mounted with sync while the snapshot is made. Where it cannot be frozen it is, whatever is
// said.
enum class Caching { kLeftOn, kOffMeanwhile };

class SnapshotRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    SnapshotRoad(const Settings& settings, Providers& providers, Catalog& catalog)
        : making_{settings, providers, catalog} {}

    // Makes a snapshot of the file system mounted at path. A failure leaves nothing behind, except what its `undoing`
    // names. One snapshot per object.
    Result<Snapshot> make(const std::string& path, Caching caching = Caching::kLeftOn);

  private:
    Status walk(const std::string& path);
    void rollBack(Failure& cause);

    SnapshotInMaking making_;
};

}  // namespace tarnctl
