#include "host/restore/restore_road.h"

#include <fmt/format.h>

#include "host/restore/finish_restore.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "restore";

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
    for (Step look : {&RestoreRoad::lookAtOrigin, &RestoreRoad::lookAtSnapshot, &RestoreRoad::checkVolume,
                      &RestoreRoad::lockOrigin}) {
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

// How it is mounted now, not how it was when the snapshot was made or when a restore was interrupted that has written
// nothing. An origin that is not mounted stays so.
Status RestoreRoad::rememberMount() {
    if (mounted_ && disabled_ && !unfinished_.restore) {
        if (Status noted = noteBack(); !noted) {
            return noted;
        }
        disabled_.reset();
        undo_.reset();
    }
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
    // The record decides, also where it could not be written: an origin that it calls half written is not mounted.
    auto unfinished = unfinishedRestoreOf(catalog_, request_.id);
    if (unfinished && !unfinished->restore) {
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
