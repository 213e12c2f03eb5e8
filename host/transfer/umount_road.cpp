#include "host/transfer/umount_road.h"

#include <sys/stat.h>

#include "host/mounts/mount_table.h"
#include "host/restore/restore_steps.h"
#include "host/road/recorded_nodes.h"
#include "host/transfer/superblock.h"
#include "host/transfer/tree_down.h"
#include "host/transfer/tree_up.h"

namespace tarnctl {
namespace {

// What is in the device while it is surely the snapshot's, so that the next mount, here or elsewhere, can be sure of
// it.
Superblock seenIn(const std::optional<MountUndo>& mounted) {
    auto table = MountTable::read();
    struct stat status {};
    if (!mounted || !table || ::stat(mounted->snapshotDevice.c_str(), &status) != 0) {
        return {};
    }
    const MountEntry* entry = table->visibleAt(mounted->alternate);
    if (entry == nullptr || entry->device != status.st_rdev) {
        return {};
    }
    auto found = superblockOn(mounted->snapshotDevice);
    return found ? *found : Superblock{};
}

}  // namespace

Status UmountRoad::umount(const std::string& id) {
    auto held = holdReady(catalog_, id, "unmount the snapshot");
    if (!held) {
        return held.failure();
    }
    if (held->standing.state == "unmounted") {
        return Done{};
    }
    if (Status free = refuseNeeded(id); !free) {
        return free;
    }
    auto step = catalog_.intend(id, intentOf(step::kUmount, seenIn(held->standing.mounted)));
    if (!step) {
        return step.failure();
    }
    Status down = unmountTree(providers_, catalog_, id);
    if (down) {
        down = detachOrGoBack(*held);
    }
    if (down) {
        return finish(*held, *step);
    }
    // Busy means that it is as it was; after anything else it is looked at again by the next umount, mount or delete.
    const StepOutcome outcome = down.failure().code == ExitCode::kBusy ? StepOutcome::kFailed : StepOutcome::kUnknown;
    if (Status noted = catalog_.finish({*step, outcome, down.failure().cause}); !noted) {
        down.failure().undoing.push_back(noted.failure());
    }
    return down;
}

// Half of it is in its origin by now, and the other half comes from its device.
Status UmountRoad::refuseNeeded(const std::string& id) {
    auto unfinished = unfinishedRestoreOf(catalog_, id);
    if (!unfinished) {
        return unfinished.failure();
    }
    return *unfinished ? Status(Failure{ExitCode::kBusy, "unmount the snapshot", id,
                                        "its restore is not finished: finish that first, with tarnctl restore " + id})
                       : Status(Done{});
}

// Somebody whom nobody could see before still has the device.
Status UmountRoad::detachOrGoBack(const ReadySnapshot& snapshot) {
    Status detached = detachTree(providers_, catalog_, snapshot.record.id);
    if (!detached && snapshot.standing.mounted) {
        if (Status again = mountAgain(snapshot); !again) {
            detached.failure().code = ExitCode::kFailed;
            detached.failure().undoing.push_back(again.failure());
        }
    }
    return detached;
}

Status UmountRoad::mountAgain(const ReadySnapshot& snapshot) {
    const MountUndo& before = *snapshot.standing.mounted;
    auto table = MountTable::read();
    auto name = table ? checkAlternate(*table, before.alternate) : Result<AlternateName>(table.failure());
    if (!name) {
        return name.failure();
    }
    auto fileSystem = recordedNode(providers_, catalog_, snapshot.record.id, NodeRole::kOrigin);
    auto volume = recordedNode(providers_, catalog_, snapshot.record.id, NodeRole::kDevice);
    if (!fileSystem || !volume) {
        return fileSystem ? volume.failure() : fileSystem.failure();
    }
    const WayUp way{snapshot.record.id, {}, *name, before.restrictions, {}};
    return TreeUp(catalog_, **fileSystem, **volume).mount(way, before.snapshotDevice);
}

Status UmountRoad::finish(const ReadySnapshot& snapshot, const StepKey& step) {
    for (const StepKey& earlier : snapshot.standing.unfinishedUmount) {
        if (Status noted = catalog_.finish({earlier, StepOutcome::kDone, {}}); !noted) {
            return noted;
        }
    }
    return catalog_.finish({step, StepOutcome::kDone, {}});
}

}  // namespace tarnctl
