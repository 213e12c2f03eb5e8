#include "host/road/undo_road.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/freeze/fs_freeze.h"
#include "host/freeze/held_directory.h"
#include "host/mounts/device_number.h"
#include "host/mounts/device_users.h"
#include "host/mounts/fs_lock.h"
#include "host/mounts/mount_table.h"
#include "host/provider/node.h"
#include "host/report/system_failure.h"
#include "host/restore/finish_restore.h"
#include "host/restore/restore_steps.h"
#include "host/road/left_processes.h"
#include "host/road/recorded_nodes.h"
#include "host/road/write_through.h"

namespace tarnctl {
namespace {

void noteBeside(Failure& cause, Status status) {
    if (!status) {
        cause.undoing.push_back(std::move(status.failure()));
    }
}

bool saysBusy(const Failure& failure) {
    for (const std::string& line : failure.traceLines) {
        if (line.find("busy") != std::string::npos) {
            return true;
        }
    }
    return false;
}

// Does undoing the step change anything on the machine?
bool hasEffect(const StepRecord& step) {
    const std::string& name = step.intent.name;
    return name == step::kMount || name == step::kAttach || name == step::kMake || name == step::kPrepare ||
           name == step::kSync || name == step::kDisable ||
           ((name == step::kFreeze || name == step::kRestore) && step.state == StepState::kIntended);
}

}  // namespace

Status UndoRoad::undoAlone(const std::string& snapshotId) {
    if (auto record = catalog_.snapshot(snapshotId); !record) {
        return record.failure();
    }
    auto own = FsLock::takeForSnapshot(snapshotId);
    if (!own) {
        return own.failure();
    }
    Status undone = undoBesideOrigin(snapshotId);
    if (undone) {
        own->discard();
    }
    return undone;
}

// A living tarnctl that makes a snapshot holds the directory of the mount point, so where nothing is mounted there is
// none. The origin of an imported snapshot is on another host.
Status UndoRoad::undoBesideOrigin(const std::string& snapshotId) {
    auto record = catalog_.snapshot(snapshotId);
    if (!record) {
        return record.failure();
    }
    auto imported = isImported(catalog_, snapshotId);
    if (!imported || *imported) {
        return imported ? undo(snapshotId) : Status(imported.failure());
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const MountEntry* origin = table->visibleAt(record->origin.mountPoint);
    auto unfinished = unfinishedRestoreOf(catalog_, snapshotId);
    if (!unfinished) {
        return unfinished.failure();
    }
    if (origin == nullptr && !*unfinished) {
        return undo(snapshotId);
    }
    auto lock = origin != nullptr ? FsLock::take(origin->device, origin->point)
                                  : FsLock::take(deviceBehind(record->origin.device), record->origin.mountPoint);
    return lock ? undo(snapshotId) : Status(lock.failure());
}

Status UndoRoad::undo(const std::string& snapshotId) {
    auto record = catalog_.snapshot(snapshotId);
    if (!record || record->state == SnapshotState::kGone) {
        return record ? Status(Done{}) : Status(record.failure());
    }
    auto steps = catalog_.stepsToUndo(snapshotId);
    if (!steps) {
        return steps.failure();
    }
    if (Status unused = refuseInUse(*steps); !unused) {
        return unused;
    }
    if (Status deleting = catalog_.setState(snapshotId, SnapshotState::kDeleting); !deleting) {
        return deleting;
    }
    bool isWhole = true;
    for (const StepRecord& step : *steps) {
        if (Status undone = undoStep(step); !undone) {
            if (isWhole) {  // nothing was undone: it still is what it was
                noteBeside(undone.failure(), catalog_.setState(snapshotId, record->state));
            }
            noteBeside(undone.failure(), catalog_.noteUndoFailure(step.key, undone.failure().cause));
            return undone;
        }
        isWhole = isWhole && !hasEffect(step);
        if (Status noted = catalog_.undone(step.key); !noted) {
            return noted;
        }
    }
    return catalog_.setState(snapshotId, SnapshotState::kGone);
}

// Before the first step is undone: what only shows after the unmount would leave half of it.
Status UndoRoad::refuseInUse(const std::vector<StepRecord>& steps) {
    for (const StepRecord& step : steps) {
        if (step.intent.name != step::kMount) {
            continue;
        }
        auto undo = mountUndoOf(step);
        if (!undo) {
            return undo.failure();
        }
        if (Status unused = refuseOtherUsers(undo->snapshotDevice, undo->alternate); !unused) {
            return unused;
        }
    }
    return Done{};
}

Status UndoRoad::undoStep(const StepRecord& step) {
    const std::string& name = step.intent.name;
    if (name == step::kMount) {
        auto undo = mountUndoOf(step);
        return undo ? unmount(*undo) : Status(undo.failure());
    }
    if (name == step::kAttach) {
        auto undo = attachUndoOf(step);
        return undo ? detach(*undo) : Status(undo.failure());
    }
    if (name == step::kMake || name == step::kPrepare) {
        auto undo = volumeUndoOf(step);
        return undo ? disposeOfVolume(step, *undo) : Status(undo.failure());
    }
    if (name == step::kSync) {
        auto undo = syncUndoOf(step);
        return undo ? switchCachingOn(step, *undo) : Status(undo.failure());
    }
    // A restore that was interrupted is not taken back, but brought to its end.
    if (name == step::kRestore && step.state == StepState::kIntended) {
        return FinishRestore(providers_, catalog_).write(step);
    }
    if (name == step::kDisable) {
        std::vector<std::string> warnings;
        auto mounted = FinishRestore(providers_, catalog_).mount(step, warnings);
        return mounted ? Status(Done{}) : Status(mounted.failure());
    }
    if (name == step::kFreeze && step.state == StepState::kIntended) {
        auto undo = freezeUndoOf(step);
        return undo ? thaw(*undo) : Status(undo.failure());
    }
    return Done{};
}

Status UndoRoad::unmount(const MountUndo& undo) {
    if (Status waited = awaitCommandsOn({undo.alternate}); !waited) {
        return waited;
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const auto mounts = table->allAt(undo.alternate);
    if (mounts.empty()) {
        return leaveDirectoryAsItWas(undo);
    }
    const dev_t snapshot = deviceBehind(undo.snapshotDevice);
    if (mounts.size() != 1 || snapshot == 0 || mounts.front()->device != snapshot) {
        return Failure{
            ExitCode::kFailed, "unmount the snapshot", undo.alternate,
            fmt::format("what is mounted there now is not (only) {}: unmount it first", undo.snapshotDevice)};
    }
    auto owner = providerNamed(providers_, undo.provider);
    if (!owner) {
        return owner.failure();
    }
    Node origin(**owner, undo.origin);
    Node alternate(**owner, undo.alternate);
    zfi_accessnode access{nullptr, 1, 0};
    CallOutcome outcome = (*owner)->call(
        [&](const EntryPoints& entry) { return entry.deport_tree(origin.record(), alternate.record(), &access); });
    if (!outcome.isOk()) {
        Failure failure = failureOf(**owner, outcome, "unmount the snapshot", undo.alternate);
        failure.code = saysBusy(failure) ? ExitCode::kBusy : failure.code;
        return failure;
    }
    return leaveDirectoryAsItWas(undo);
}

// The layer below removes the mount point with the mount; one that was there before comes back, and one that was made
// for a mount that never came about goes. One that holds anything is not ours.
Status UndoRoad::leaveDirectoryAsItWas(const MountUndo& undo) {
    const char* path = undo.alternate.c_str();
    if (undo.directory) {
        if (::mkdir(path, 0700) == 0 && ::chown(path, undo.directory->uid, undo.directory->gid) == 0 &&
            ::chmod(path, undo.directory->mode & 07777) == 0) {
            return Done{};
        }
        return errno == EEXIST ? Status(Done{})
                               : systemFailure(ExitCode::kFailed, "make the directory again", undo.alternate,
                                               "it was there before the snapshot", errno);
    }
    if (::rmdir(path) == 0 || errno == ENOENT) {
        return Done{};
    }
    return systemFailure(ExitCode::kFailed, "remove the mount point", undo.alternate, "it was made for the snapshot",
                         errno);
}

// By its reference alone: the device may never have been noted, and what another host's record says of files is not
// true here.
Status UndoRoad::detach(const AttachUndo& undo) {
    auto owner = providerNamed(providers_, undo.provider);
    if (!owner) {
        return owner.failure();
    }
    Node node(**owner, undo.node);
    node.requestAlternate(undo.reference);
    zfi_accessnode access{nullptr, 1, 0};
    CallOutcome outcome =
        (*owner)->call([&](const EntryPoints& entry) { return entry.deport_tree(node.record(), nullptr, &access); });
    return outcome.isOk() ? Status(Done{}) : failureOf(**owner, outcome, "detach the snapshot of", undo.node);
}

Status UndoRoad::disposeOfVolume(const StepRecord& step, const VolumeUndo& undo) {
    auto owner = providerNamed(providers_, undo.provider);
    if (!owner) {
        return owner.failure();
    }
    auto nodes = catalog_.nodes(step.key.snapshot);
    if (!nodes) {
        return nodes.failure();
    }
    Node device(**owner, undo.device);
    device.joinSession(step.key.snapshot, 0);
    for (const NodeRecord& node : *nodes) {
        if (node.node.role == NodeRole::kDevice && node.node.name == undo.device && node.blob) {
            const std::string& bytes = node.blob->bytes;
            if (Status restored = device.restoreState(bytes.substr(0, bytes.find('\0'))); !restored) {
                return restored;
            }
        }
    }
    CallOutcome outcome = (*owner)->call([&](const EntryPoints& entry) {
        return entry.dispose(nullptr, device.record(), device.split(), ZFI_DISPOSITION_REMOVE);
    });
    if (!outcome.isOk()) {
        return failureOf(**owner, outcome, "remove the snapshot of", undo.device);
    }
    return Done{};
}

// Only reached when nobody wrote down how the window ended: the process was killed inside it.
Status UndoRoad::thaw(const FreezeUndo& undo) {
    auto directory = HeldDirectory::open(undo.mountPoint);
    if (!directory || directory->device() != static_cast<dev_t>(undo.fsDevice)) {
        return Done{};  // it is not mounted there any more
    }
    if (Status waited = awaitCommandsOn({undo.mountPoint}); !waited) {
        return waited;
    }
    const ThawAnswer answer = thawFs(directory->fd());
    if (answer.outcome == ThawOutcome::kDone || answer.outcome == ThawOutcome::kWasNotFrozen) {
        return endGuardsOf(directory->device(), undo.mountPoint);
    }
    return Failure{ExitCode::kMayBeFrozen, "thaw", undo.mountPoint,
                   fmt::format("{}; it may still be frozen. Thaw it with: {}", std::strerror(answer.error),
                               thawCommand(undo.mountPoint, undo.fsType))};
}

// The options of before come from the record, its device from the mount itself.
Status UndoRoad::switchCachingOn(const StepRecord& step, const SyncUndo& undo) {
    if (Status waited = awaitCommandsOn({undo.mountPoint}); !waited) {
        return waited;
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    const MountEntry* origin = table->visibleAt(undo.mountPoint);
    if (origin == nullptr || origin->device != static_cast<dev_t>(undo.fsDevice)) {
        return Done{};  // it is not mounted there any more
    }
    auto owner = providerNamed(providers_, undo.provider);
    if (!owner) {
        return owner.failure();
    }
    Node node(**owner, undo.mountPoint);
    if (Status initialised = node.init(); !initialised) {
        return initialised;
    }
    auto recorded = recordedState(catalog_, step.key.snapshot, NodeRole::kOrigin);
    if (!recorded) {
        return recorded.failure();
    }
    if (Status restored = node.restoreState(*recorded); !restored) {
        return restored;
    }
    auto enabled = writeBackAgain(node, undo);
    return enabled ? Status(Done{}) : Status(enabled.failure());
}

}  // namespace tarnctl
