// The road of one file system through a snapshot: claim, prepare, freeze, make, thaw, mount, record. Every step is in
// the catalog before it happens; when one fails, everything before it is undone from there.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/freeze/held_directory.h"
#include "host/installation.h"
#include "host/mounts/fs_lock.h"
#include "host/mounts/mount_table.h"
#include "host/mounts/preflight.h"
#include "host/provider/node.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"
#include "host/road/window.h"

namespace tarnctl {

// A whole snapshot. Clocks are CLOCK_MONOTONIC.
struct Snapshot {
    std::string id;
    std::string mountPoint;
    std::string device;
    std::string fsType;
    std::string alternate;
    std::string snapshotDevice;
    bool isBroken = false;   // kept, but not of a frozen file system
    bool isCrash = false;    // cut without a freeze, by a volume layer that cuts atomically; then there is no window
    bool isThrough = false;  // made while the origin was mounted with sync
    std::chrono::nanoseconds still{};
    std::chrono::nanoseconds made{};
    std::chrono::steady_clock::time_point frozenAt{};
    std::chrono::steady_clock::time_point thawedAt{};
    std::vector<std::string> warnings{};  // what went wrong beside it
};

// Whether the origin is mounted with sync while the snapshot is made. Where it cannot be frozen it is, whatever is
// said.
enum class Caching { kLeftOn, kOffMeanwhile };

class SnapshotRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    SnapshotRoad(const Settings& settings, Providers& providers, Catalog& catalog)
        : settings_(settings), providers_(providers), catalog_(catalog) {}

    // Makes a snapshot of the file system mounted at path. A failure leaves nothing behind, except what its `undoing`
    // names. One snapshot per object.
    Result<Snapshot> make(const std::string& path, Caching caching = Caching::kLeftOn);

  private:
    Status walk(const std::string& path);
    // Before anything is touched.
    Status lookAt(const std::string& path);
    Status claimNodes();
    Status refuseUnsafe();
    Status refuseMovingImage();
    // In order.
    Status record();
    Status joinSession(Node& node);
    Status prepare();
    Status switchCachingOff();
    Status passWindow();
    Status cutWithoutFreeze();
    Status switchCachingOn();
    Status writeOutcome(const WindowReport& report);
    Status handOver();
    Status mountAlternate();
    Status initAlternate();
    Status keepState(std::int64_t nodeId, Node& node);
    void rollBack(Failure& cause);

    const Settings& settings_;
    Providers& providers_;
    Catalog& catalog_;

    std::optional<MountEntry> origin_;
    std::optional<AlternateName> alternateName_;
    std::optional<FsLock> lock_;
    std::optional<HeldDirectory> directory_;
    std::unique_ptr<Node> fileSystem_;
    std::unique_ptr<Node> volume_;
    std::unique_ptr<Node> alternate_;
    std::int64_t originRow_ = 0;
    std::int64_t volumeRow_ = 0;
    std::optional<StepKey> syncStep_;
    SyncUndo sync_;
    std::vector<StepKey> windowSteps_;
    znfi_objid* snapshotId_ = nullptr;  // of the snapshot device, as the file-system layer answered it
    Snapshot snapshot_;
};

}  // namespace tarnctl
