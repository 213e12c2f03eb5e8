// What a restore looks at before its first step.
#include <fmt/format.h>

#include "host/mounts/device_number.h"
#include "host/mounts/device_users.h"
#include "host/mounts/preflight.h"
#include "host/restore/origin_checks.h"
#include "host/restore/restore_road.h"
#include "host/road/recorded_nodes.h"
#include "host/road/step_undo.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "restore";

}  // namespace

Status RestoreRoad::lookAtRecord() {
    if (auto known = catalog_.snapshot(request_.id); !known) {
        return known.failure();
    }
    auto lock = FsLock::takeForSnapshot(request_.id);
    if (!lock) {
        return lock.failure();
    }
    snapshotLock_ = std::move(*lock);
    auto record = catalog_.snapshot(request_.id);  // as it is now that nobody else changes it
    if (!record) {
        return record.failure();
    }
    record_ = *record;
    restored_.mountPoint = record_.origin.mountPoint;
    if (Status fit = refuseUnfit(); !fit) {
        return fit;
    }
    auto unfinished = unfinishedRestoreOf(catalog_, request_.id);
    if (!unfinished) {
        return unfinished.failure();
    }
    unfinished_ = *unfinished;
    restored_.wasUnfinished = static_cast<bool>(unfinished_);
    if (unfinished_.disable) {
        auto undo = disableUndoOf(*unfinished_.disable);
        if (!undo) {
            return undo.failure();
        }
        undo_ = *undo;
        disabled_ = unfinished_.disable->key;
    }
    return refuseOtherRestores();
}

Status RestoreRoad::refuseUnfit() const {
    const auto refuse = [&](const std::string& why) {
        return Failure{ExitCode::kUnsupported, kOperation, request_.id, why};
    };
    if (record_.state != SnapshotState::kReady) {
        return refuse(fmt::format("it is {}: only a whole snapshot is restored", nameOf(record_.state)));
    }
    // Whatever has the names of its origin here is somebody else's.
    auto imported = isImported(catalog_, request_.id);
    if (!imported || *imported) {
        return imported ? refuse("it was imported: its origin is on the host where it was made") : imported.failure();
    }
    if (record_.consistency == Consistency::kUndecided) {
        return refuse("how its content was cut is not known");
    }
    if (record_.consistency == Consistency::kBroken && request_.despiteBroken.empty()) {
        return refuse(
            "it is broken: somebody thawed the file system before it was whole. To restore it all the same, say why "
            "with --despite-broken REASON");
    }
    return Done{};
}

// Finishing it later would write over what is restored now.
Status RestoreRoad::refuseOtherRestores() const {
    auto all = catalog_.snapshots();
    if (!all) {
        return all.failure();
    }
    for (const SnapshotRecord& other : *all) {
        if (other.id == request_.id || other.state == SnapshotState::kGone ||
            other.origin.mountPoint != record_.origin.mountPoint) {
            continue;
        }
        auto unfinished = unfinishedRestoreOf(catalog_, other.id);
        if (!unfinished) {
            return unfinished.failure();
        }
        if (*unfinished) {
            return Failure{ExitCode::kBusy, kOperation, request_.id,
                           fmt::format("the restore of {} over the same origin is not finished: finish it first, with "
                                       "tarnctl restore {} or tarnctl delete {}",
                                       other.id, other.id, other.id)};
        }
    }
    return Done{};
}

Status RestoreRoad::lookAtOrigin() {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    if (table->allAt(record_.origin.mountPoint).empty()) {
        return Done{};
    }
    auto origin = checkMountPoint(*table, record_.origin.mountPoint, {});
    if (!origin) {
        return origin.failure();
    }
    mounted_ = *origin;
    if (Status locked = lockOrigin(); !locked) {
        return locked;
    }
    if (Status fuser = request_.isForced ? refuseWithoutFuser() : Status(Done{}); !fuser) {
        return fuser;
    }
    return refuseUnmountable(*table, *mounted_, catalog_, request_.isForced);
}

// What a volume layer does with the snapshot while it writes is its own affair: whoever else has it mounted or open
// could be shown anything.
Status RestoreRoad::lookAtSnapshot() {
    auto steps = catalog_.steps(request_.id);
    if (!steps) {
        return steps.failure();
    }
    for (const StepRecord& step : *steps) {
        if (step.intent.name != step::kMount || step.state != StepState::kDone) {
            continue;
        }
        auto mount = mountUndoOf(step);
        if (!mount) {
            return mount.failure();
        }
        if (Status unused = refuseOtherUsers(mount->snapshotDevice, mount->alternate); !unused) {
            return unused;
        }
    }
    return Done{};
}

Status RestoreRoad::checkVolume() {
    auto volume = VolumeRestore::of(providers_, catalog_, request_.id);
    if (!volume) {
        return volume.failure();
    }
    volume_.emplace(std::move(*volume));
    auto device = volume_->check();
    if (!device) {
        return device.failure();
    }
    restored_.device = *device;
    if (Status safe = checkName(NameKind::kDevice, *device); !safe) {
        return safe;
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    for (const MountEntry* mount : table->ofDevice(deviceBehind(*device))) {
        if (!mounted_ || mount->point != mounted_->point) {
            return Failure{ExitCode::kBusy, kOperation, *device,
                           "the origin is mounted at " + mount->point + ": unmount it first"};
        }
    }
    if (mounted_ && mounted_->device != deviceBehind(*device)) {
        return Failure{ExitCode::kBusy, kOperation, mounted_->point,
                       fmt::format("{} is mounted there, which is not the origin {}", mounted_->source, *device)};
    }
    return Done{};
}

// By the number of its device, which all of these file systems bear.
Status RestoreRoad::lockOrigin() {
    if (originLock_) {
        return Done{};
    }
    const dev_t number = mounted_ ? mounted_->device : deviceBehind(restored_.device);
    auto lock = FsLock::take(number, record_.origin.mountPoint);
    if (!lock) {
        return lock.failure();
    }
    originLock_ = std::move(*lock);
    return Done{};
}

}  // namespace tarnctl
