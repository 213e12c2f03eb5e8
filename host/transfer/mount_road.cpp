#include "host/transfer/mount_road.h"

#include <sys/stat.h>

#include "host/mounts/mount_table.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"
#include "host/transfer/tree_down.h"

namespace tarnctl {
namespace {

// Is what the record says true?
Result<bool> isMounted(const Standing& standing) {
    struct stat status {};
    if (standing.state != "ready" || !standing.mounted ||
        ::stat(standing.mounted->snapshotDevice.c_str(), &status) != 0) {
        return false;
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const auto mounts = table->allAt(standing.mounted->alternate);
    return mounts.size() == 1 && mounts.front()->device == status.st_rdev;
}

}  // namespace

Result<MountedSnapshot> MountRoad::mount(const std::string& id, const std::string& name) {
    const AwayFromHere away;
    auto held = holdReady(catalog_, id, "mount the snapshot");
    if (!held) {
        return held.failure();
    }
    auto mounted = isMounted(held->standing);
    if (!mounted) {
        return mounted.failure();
    }
    if (*mounted) {
        const MountUndo& there = *held->standing.mounted;
        if (!name.empty() && withoutTrailingSlashes(name) != there.alternate) {
            return Failure{ExitCode::kBusy, "mount the snapshot", id,
                           "it is mounted at " + there.alternate + ": unmount it first"};
        }
        return MountedSnapshot{id, there.alternate, there.snapshotDevice};
    }
    if (Status atRest = bringToRest(*held); !atRest) {
        return atRest.failure();
    }
    auto way = choose(*held, name);
    return way ? climb(*way) : Result<MountedSnapshot>(way.failure());
}

Status MountRoad::bringToRest(const ReadySnapshot& snapshot) {
    if (Status down = takeTreeDown(providers_, catalog_, snapshot.record.id); !down) {
        return down;
    }
    for (const StepKey& step : snapshot.standing.unfinishedUmount) {
        if (Status noted = catalog_.finish({step, StepOutcome::kDone, {}}); !noted) {
            return noted;
        }
    }
    return Done{};
}

Result<WayUp> MountRoad::choose(const ReadySnapshot& snapshot, const std::string& name) {
    const Standing& standing = snapshot.standing;
    if (!standing.lastMounted) {
        return Failure{ExitCode::kFailed, "mount the snapshot", snapshot.record.id, "its record names no mount"};
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    auto alternate = checkAlternate(*table, name.empty() ? standing.lastMounted->alternate : name);
    if (!alternate) {
        return alternate.failure();
    }
    const Superblock unknown{snapshot.record.origin.fsType, {}};
    return WayUp{
        snapshot.record.id, {}, *alternate, standing.lastMounted->restrictions, standing.superblock.value_or(unknown)};
}

Result<MountedSnapshot> MountRoad::climb(const WayUp& way) {
    auto fileSystem = recordedNode(providers_, catalog_, way.snapshotId, NodeRole::kOrigin);
    auto volume = recordedNode(providers_, catalog_, way.snapshotId, NodeRole::kDevice);
    if (!fileSystem || !volume) {
        return fileSystem ? volume.failure() : fileSystem.failure();
    }
    TreeUp tree(catalog_, **fileSystem, **volume);
    Status up = tree.climb(way);
    if (up) {
        return MountedSnapshot{way.snapshotId, way.alternate.name, tree.device()};
    }
    forgetInterruption();
    if (Status down = takeTreeDown(providers_, catalog_, way.snapshotId); !down) {
        up.failure().undoing.push_back(down.failure());
    }
    return up.failure();
}

}  // namespace tarnctl
