// What one stretch of the road hands to the next.
#pragma once

#include <chrono>
#include <cstdint>
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
#include "host/road/step_undo.h"

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

// A snapshot in the making, in the order in which it comes to know things.
struct SnapshotInMaking {
    // Borrowed; providers are loaded, the catalog is open.
    const Settings& settings;
    Providers& providers;
    Catalog& catalog;

    std::optional<MountEntry> origin{};
    std::optional<FsLock> lock{};
    std::optional<AlternateName> alternateName{};
    std::optional<HeldDirectory> directory{};
    std::unique_ptr<Node> fileSystem{};
    std::unique_ptr<Node> volume{};
    std::int64_t originRow = 0;  // in the catalog
    std::int64_t volumeRow = 0;
    std::optional<StepKey> syncStep{};  // where write caching was switched off
    SyncUndo sync{};
    znfi_objid* snapshotId = nullptr;  // of the snapshot device, as the file-system layer answered it
    std::unique_ptr<Node> alternate{};

    Snapshot snapshot{};
};

}  // namespace tarnctl
