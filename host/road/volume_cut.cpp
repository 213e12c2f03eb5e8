#include "host/road/volume_cut.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/freeze/fs_freeze.h"
#include "host/guard/freeze_guard.h"
#include "host/road/recorded_nodes.h"
#include "host/road/step_undo.h"
#include "host/road/window.h"

namespace tarnctl {
namespace {

// A freeze of ours that may still be in place stays intended: delete thaws it.
Status writeOutcome(SnapshotInMaking& making, const std::vector<StepKey>& steps, const WindowReport& report) {
    const bool mayBeFrozen =
        report.failure && report.failure->code == ExitCode::kMayBeFrozen && !report.isNobodysFreeze;
    const std::string detail = report.failure ? report.failure->cause : "";
    const StepOutcome freeze = mayBeFrozen        ? StepOutcome::kUnknown
                               : report.wasFrozen ? StepOutcome::kDone
                                                  : StepOutcome::kFailed;
    const StepOutcome make = report.snapshot.empty() ? StepOutcome::kUnknown : StepOutcome::kDone;
    WindowResult result;
    result.steps = {{steps[0], freeze, detail},
                    {steps[1], make, {}},
                    {steps[2], mayBeFrozen ? StepOutcome::kUnknown : StepOutcome::kDone, {}}};
    result.consistency = report.isBroken    ? Consistency::kBroken
                         : report.wasFrozen ? Consistency::kFrozen
                                            : Consistency::kUndecided;
    result.windowNs = report.still.count();
    return making.catalog.windowOutcome(making.snapshot.id, result);
}

Status cutFrozen(SnapshotInMaking& making) {
    GuardLimits limits;
    limits.by = making.fileSystem->record()->quiesce != nullptr ? FreezeBy::kCommand : FreezeBy::kHost;
    limits.frozen = std::chrono::milliseconds(making.settings.freezeBudgetMs);
    auto guard = FreezeGuard::arm(*making.directory, limits);
    if (!guard) {
        return guard.failure();
    }
    auto steps = making.catalog.windowIntent(
        making.snapshot.id,
        {intentOf(step::kFreeze, FreezeUndo{making.origin->point, making.origin->type, making.directory->device()}),
         intentOf(step::kMake, VolumeUndo{making.volume->provider().name(), making.volume->name()}),
         StepIntent{step::kThaw, "{}"}});
    if (!steps) {
        return steps.failure();
    }
    syncFs(making.directory->fd());  // what is dirty is written before anybody waits for it
    WindowReport report =
        Window(*making.fileSystem, *making.volume, *making.directory, *guard, making.origin->type).run();
    if (Status written = writeOutcome(making, *steps, report); !written && !report.failure) {
        return written;
    }
    if (report.failure) {
        return *std::move(report.failure);
    }
    making.snapshot.snapshotDevice = report.snapshot;
    making.snapshot.isBroken = report.isBroken;
    making.snapshot.still = report.still;
    making.snapshot.made = report.made;
    making.snapshot.frozenAt = guard->window().frozenAt().value_or(std::chrono::steady_clock::time_point{});
    making.snapshot.thawedAt = guard->window().thawedAt().value_or(std::chrono::steady_clock::time_point{});
    return keepState(making.catalog, making.volumeRow, *making.volume);
}

// Nothing stands still: the volume layer cuts at one instant. The step is written as a window because nothing can be
// written down between its begin and its end.
Status cutWithoutFreeze(SnapshotInMaking& making) {
    auto steps = making.catalog.windowIntent(
        making.snapshot.id,
        {intentOf(step::kMake, VolumeUndo{making.volume->provider().name(), making.volume->name()})});
    if (!steps) {
        return steps.failure();
    }
    syncFs(making.directory->fd());
    const auto start = std::chrono::steady_clock::now();
    auto made = making.volume->makeSnapshot();
    making.snapshot.made = std::chrono::steady_clock::now() - start;
    Status written = making.catalog.windowOutcome(
        making.snapshot.id, {{{steps->front(), made ? StepOutcome::kDone : StepOutcome::kUnknown, {}}},
                             made ? Consistency::kCrash : Consistency::kUndecided,
                             std::nullopt});
    if (!made) {
        return made.failure();
    }
    making.snapshot.snapshotDevice = (*made)->name;
    return written ? keepState(making.catalog, making.volumeRow, *making.volume) : written;
}

}  // namespace

Status cutVolume(SnapshotInMaking& making) {
    return making.snapshot.isCrash ? cutWithoutFreeze(making) : cutFrozen(making);
}

}  // namespace tarnctl
