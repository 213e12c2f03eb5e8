#include "host/restore/restore_road.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include "host/mounts/preflight.h"
#include "host/restore/finish_restore.h"
#include "host/restore/origin_checks.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "restore";

dev_t numberOf(const std::string& device) {
    struct stat status {};
    return ::stat(device.c_str(), &status) == 0 && S_ISBLK(status.st_mode) ? status.st_rdev : 0;
}

StepRecord intendedStep(const StepKey& key, StepIntent intent) {
    StepRecord step;
    step.key = key;
    step.intent = std::move(intent);
    return step;
}

}  // namespace

Result<Restored> RestoreRoad::restore(const RestoreRequest& request) {
    request_ = request;
    restored_.id = request.id;
    if (Status seen = lookAtRecord(); !seen) {
        return seen.failure();
    }
    if (unfinished_.isWritten && !unfinished_.restore) {
        return onlyMount();
    }
    using Step = Status (RestoreRoad::*)();
    for (Step look : {&RestoreRoad::lookAtOrigin, &RestoreRoad::checkVolume, &RestoreRoad::lockOrigin}) {
        if (Status seen = (this->*look)(); !seen) {
            return seen.failure();
        }
    }
    const AwayFromHere away;
    for (Step next : {&RestoreRoad::rememberMount, &RestoreRoad::unmount, &RestoreRoad::write}) {
        Status done = refuseWhenInterrupted(kOperation, record_.origin.mountPoint);
        done = done ? (this->*next)() : std::move(done);
        if (!done) {
            return rollBack(std::move(done.failure()));
        }
    }
    forgetInterruption();
    if (Status mounted = mountAgain(); !mounted) {
        return mounted.failure();
    }
    return restored_;
}

Status RestoreRoad::lookAtRecord() {
    auto record = catalog_.snapshot(request_.id);
    if (!record) {
        return record.failure();
    }
    record_ = *record;
    restored_.mountPoint = record_.origin.mountPoint;
    auto lock = FsLock::takeForSnapshot(request_.id);
    if (!lock) {
        return lock.failure();
    }
    snapshotLock_ = std::move(*lock);
    const auto refuse = [&](const std::string& why) {
        return Failure{ExitCode::kUnsupported, kOperation, request_.id, why};
    };
    if (record_.state != SnapshotState::kReady) {
        return refuse(fmt::format("it is {}: only a whole snapshot is restored", nameOf(record_.state)));
    }
    if (record_.consistency == Consistency::kUndecided) {
        return refuse("how its content was cut is not known");
    }
    if (record_.consistency == Consistency::kBroken && request_.despiteBroken.empty()) {
        return refuse(
            "it is broken: somebody thawed the file system before it was whole. To restore it all the same, say why "
            "with --despite-broken REASON");
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
    for (const MountEntry* mount : table->ofDevice(numberOf(*device))) {
        if (!mounted_ || mount->point != mounted_->point) {
            return Failure{ExitCode::kBusy, kOperation, *device,
                           "the origin is mounted at " + mount->point + ": unmount it first"};
        }
    }
    if (mounted_ && mounted_->device != numberOf(*device)) {
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
    const dev_t number = mounted_ ? mounted_->device : numberOf(restored_.device);
    auto lock = FsLock::take(number, record_.origin.mountPoint);
    if (!lock) {
        return lock.failure();
    }
    originLock_ = std::move(*lock);
    return Done{};
}

// How it is mounted now, not how it was when the snapshot was made. An origin that is not mounted stays so.
Status RestoreRoad::rememberMount() {
    if (!undo_ && mounted_) {
        auto node = recordedNode(providers_, catalog_, request_.id, NodeRole::kOrigin);
        if (!node) {
            return node.failure();
        }
        if (Status initialised = (*node)->init(); !initialised) {
            return initialised;
        }
        auto state = (*node)->state();
        if (!state) {
            return state.failure();
        }
        undo_ = DisableUndo{(*node)->provider().name(), mounted_->point, restored_.device,  mounted_->type,
                            mounted_->device,           *state,          mounted_->options, mounted_->superOptions};
    }
    if (!undo_) {
        return Done{};
    }
    auto access = OriginAccess::of(providers_, *undo_);
    if (!access) {
        return access.failure();
    }
    access_.emplace(std::move(*access));
    return Done{};
}

Status RestoreRoad::unmount() {
    if (!undo_) {
        return Done{};
    }
    if (!disabled_) {
        auto intended = catalog_.intend(request_.id, intentOf(*undo_));
        if (!intended) {
            return intended.failure();
        }
        disabled_ = *intended;
        unfinished_.disable = intendedStep(*intended, intentOf(*undo_));
    }
    if (Status unmounted = access_->disable(request_.isForced); !unmounted) {
        return unmounted;
    }
    if (unfinished_.disable->state == StepState::kIntended) {
        return catalog_.finish({*disabled_, StepOutcome::kDone, {}});
    }
    return Done{};
}

Status RestoreRoad::write() {
    const bool wasHalf = unfinished_.restore.has_value();
    if (!wasHalf) {
        const RestoreUndo undo{volume_->provider(), volume_->recordedDevice(), volume_->snapshotDevice(),
                               request_.despiteBroken};
        auto intended = catalog_.intend(request_.id, intentOf(undo));
        if (!intended) {
            return intended.failure();
        }
        unfinished_.restore = intendedStep(*intended, intentOf(undo));
    }
    auto device = writeBack(catalog_, *volume_, unfinished_.restore->key, wasHalf);
    if (device) {
        restored_.device = *device;
        return Done{};
    }
    if (!volume_->isHalf() && !wasHalf) {
        unfinished_.restore.reset();
    }
    return device.failure();
}

Status RestoreRoad::mountAgain() {
    if (!undo_) {
        return Done{};
    }
    if (Status mounted = access_->enable(restored_.device, restored_.warnings); !mounted) {
        mounted.failure().cause +=
            fmt::format("; the origin is restored and not mounted. Try again with: tarnctl restore {}", request_.id);
        return mounted;
    }
    restored_.isMounted = true;
    return noteBack();
}

// It was interrupted behind the last byte. Who uses the origin by now keeps what he wrote.
Result<Restored> RestoreRoad::onlyMount() {
    restored_.device = undo_->device;
    auto lock = FsLock::take(static_cast<dev_t>(undo_->fsDevice), undo_->mountPoint);
    if (!lock) {
        return lock.failure();
    }
    auto device = FinishRestore(providers_, catalog_).mount(*unfinished_.disable, restored_.warnings);
    if (!device) {
        return device.failure();
    }
    restored_.device = *device;
    restored_.isMounted = true;
    if (Status noted = noteBack(); !noted) {
        return noted.failure();
    }
    return restored_;
}

Status RestoreRoad::noteBack() {
    return disabled_ ? catalog_.undone(*disabled_) : Status(Done{});
}

// Half written it is not mounted; the cause says what to do.
Failure RestoreRoad::rollBack(Failure cause) {
    forgetInterruption();
    if (!disabled_ || !access_ || unfinished_.restore) {
        return cause;
    }
    std::vector<std::string> warnings;
    Status back = access_->enable(restored_.device, warnings);
    back = back ? noteBack() : std::move(back);
    if (!back) {
        cause.undoing.push_back(std::move(back.failure()));
    }
    for (const std::string& warning : warnings) {
        cause.undoing.push_back({ExitCode::kFailed, "mount the origin", record_.origin.mountPoint, warning});
    }
    return cause;
}

}  // namespace tarnctl
