#include "host/road/snapshot_road.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cstdlib>

#include "host/freeze/fs_freeze.h"
#include "host/guard/freeze_guard.h"
#include "host/mounts/own_paths.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/restrict_mount.h"
#include "host/road/step_undo.h"
#include "host/road/undo_road.h"
#include "host/road/write_through.h"
#include "znfi.h"

namespace tarnctl {
namespace {

constexpr const char* kFreezeCommand = "/usr/sbin/xfs_freeze";

std::vector<OwnPath> pathsNeededWhileFrozen(const Catalog& catalog) {
    std::vector<OwnPath> paths;  // those with a name of their own first: the catalog is among the open files, too
    for (const std::string& file : catalog.files()) {
        paths.push_back({"the catalog", file});
    }
    if (const char* trace = std::getenv("ZFI_TRACE_FILE"); trace != nullptr) {
        paths.push_back({"the trace file", trace});
    }
    for (const char* program : {kFreezeCommand, "/bin/sh", "/bin/mount", "/bin/umount"}) {
        paths.push_back({"a command that the road runs", program});
    }
    for (OwnPath& own : ownPaths()) {
        paths.push_back(std::move(own));
    }
    return paths;
}

}  // namespace

Result<Snapshot> SnapshotRoad::make(const std::string& path, Caching caching) {
    const AwayFromHere away;
    snapshot_.isThrough = caching == Caching::kOffMeanwhile;
    if (Status walked = walk(path); !walked) {
        Failure cause = std::move(walked.failure());
        rollBack(cause);
        return cause;
    }
    return snapshot_;
}

Status SnapshotRoad::walk(const std::string& path) {
    using Step = Status (SnapshotRoad::*)();
    if (Status seen = lookAt(path); !seen) {
        return seen;
    }
    for (Step next :
         {&SnapshotRoad::claimNodes, &SnapshotRoad::refuseUnsafe, &SnapshotRoad::record, &SnapshotRoad::prepare,
          &SnapshotRoad::switchCachingOff, &SnapshotRoad::passWindow, &SnapshotRoad::switchCachingOn,
          &SnapshotRoad::handOver, &SnapshotRoad::mountAlternate, &SnapshotRoad::initAlternate}) {
        if (Status status = refuseWhenInterrupted("snapshot", origin_->point); !status) {
            return status;
        }
        if (Status status = (this->*next)(); !status) {
            return status;
        }
    }
    return catalog_.setState(snapshot_.id, SnapshotState::kReady);
}

Status SnapshotRoad::lookAt(const std::string& path) {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    auto origin = checkMountPoint(*table, path, {});
    if (!origin) {
        return origin.failure();
    }
    origin_ = *origin;
    auto lock = FsLock::take(origin_->device, origin_->point);
    if (!lock) {
        return lock.failure();
    }
    lock_ = std::move(*lock);
    auto derived = deriveAlternate(*table, origin_->point);
    if (!derived) {
        return derived.failure();
    }
    auto checked = checkAlternate(*table, derived->name);
    if (!checked) {
        return checked.failure();
    }
    alternateName_ = *checked;
    auto directory = HeldDirectory::open(origin_->point);
    if (!directory) {
        return directory.failure();
    }
    directory_ = std::move(*directory);
    return Done{};
}

Status SnapshotRoad::claimNodes() {
    auto owner = claimant(providers_, origin_->point);
    if (!owner) {
        return owner.failure();
    }
    if (*owner == nullptr) {
        return Failure{ExitCode::kUnsupported, "claim", origin_->point,
                       fmt::format("no provider claims a {} file system", origin_->type)};
    }
    fileSystem_ = std::make_unique<Node>(**owner, origin_->point);
    if (Status initialised = fileSystem_->init(); !initialised) {
        return initialised;
    }
    auto devices = fileSystem_->subObjects();
    if (!devices) {
        return devices.failure();
    }
    if (devices->size() != 1) {
        return Failure{ExitCode::kUnsupported, "list the devices", origin_->point, "it does not stand on one device"};
    }
    const std::string& device = devices->front();
    if (Status safe = checkName(NameKind::kDevice, device); !safe) {
        return safe;
    }
    auto volumeOwner = claimant(providers_, device);
    if (!volumeOwner) {
        return volumeOwner.failure();
    }
    if (*volumeOwner == nullptr) {
        return Failure{ExitCode::kUnsupported, "claim", device,
                       "no volume provider claims the device below " + origin_->point};
    }
    volume_ = std::make_unique<Node>(**volumeOwner, device);
    if (Status initialised = volume_->init(); !initialised) {
        return initialised;
    }
    return cannotBeFrozen(origin_->type) ? refuseMovingImage() : Status(Done{});
}

// Without a freeze the image moves while it is cut: only who cuts it at one instant may.
Status SnapshotRoad::refuseMovingImage() {
    auto cutsAtomically = volume_->cutsAtomically();
    if (!cutsAtomically) {
        return cutsAtomically.failure();
    }
    if (!*cutsAtomically) {
        return Failure{
            ExitCode::kUnsupported, "snapshot", origin_->point,
            fmt::format("the kernel cannot freeze {}, and {} does not say that it cuts {} atomically: a copy "
                        "of a moving image would be worthless",
                        origin_->type, volume_->provider().name(), volume_->name())};
    }
    snapshot_.isCrash = true;
    snapshot_.isThrough = true;
    return Done{};
}

Status SnapshotRoad::refuseUnsafe() {
    if (snapshot_.isCrash) {
        return Done{};  // nothing is going to be frozen
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    return refuseOwnOnFrozen(*table, {*origin_}, pathsNeededWhileFrozen(catalog_));
}

Status SnapshotRoad::record() {
    auto created = catalog_.createSnapshot({origin_->point, volume_->name(), origin_->type});
    if (!created) {
        return created.failure();
    }
    snapshot_.id = created->id;
    snapshot_.mountPoint = origin_->point;
    snapshot_.device = volume_->name();
    snapshot_.fsType = origin_->type;
    snapshot_.alternate = alternateName_->name;
    auto originRow = catalog_.addNode(
        snapshot_.id, {NodeRole::kOrigin, fileSystem_->provider().name(), fileSystem_->name(), std::nullopt});
    if (!originRow) {
        return originRow.failure();
    }
    originRow_ = *originRow;
    auto volumeRow =
        catalog_.addNode(snapshot_.id, {NodeRole::kDevice, volume_->provider().name(), volume_->name(), originRow_});
    if (!volumeRow) {
        return volumeRow.failure();
    }
    volumeRow_ = *volumeRow;
    if (Status kept = keepState(originRow_, *fileSystem_); !kept) {
        return kept;
    }
    return keepState(volumeRow_, *volume_);
}

Status SnapshotRoad::joinSession(Node& node) {
    node.joinSession(snapshot_.id, settings_.freezeBudgetMs);
    struct Call {
        const char* name;
        int (*run)(const EntryPoints&, zfi_splitnode*, char*);
    };
    const Call calls[] = {
        {"preselect", [](const EntryPoints& e, zfi_splitnode* n, char* s) { return e.preselect(n, s, nullptr, 0); }},
        {"select", [](const EntryPoints& e, zfi_splitnode* n, char* s) { return e.select(n, s, nullptr, 0); }},
        {"prepare", [](const EntryPoints& e, zfi_splitnode* n, char* s) { return e.prepare(n, s, nullptr, 0, 0); }},
    };
    for (const Call& call : calls) {
        CallOutcome outcome = node.provider().call(
            [&](const EntryPoints& entry) { return call.run(entry, node.split(), snapshot_.id.data()); });
        if (!outcome.isOk()) {
            return failureOf(node.provider(), outcome, call.name, node.name());
        }
    }
    return Done{};
}

Status SnapshotRoad::prepare() {
    if (Status joined = joinSession(*fileSystem_); !joined) {
        return joined;
    }
    auto intended = catalog_.intend(snapshot_.id,
                                    intentOf(step::kPrepare, VolumeUndo{volume_->provider().name(), volume_->name()}));
    if (!intended) {
        return intended.failure();
    }
    if (Status joined = joinSession(*volume_); !joined) {
        return joined;
    }
    if (Status kept = keepState(volumeRow_, *volume_); !kept) {
        return kept;
    }
    return catalog_.finish({*intended, StepOutcome::kDone, {}});
}

Status SnapshotRoad::switchCachingOff() {
    if (!snapshot_.isThrough) {
        return Done{};
    }
    sync_ = syncUndoOf(*fileSystem_, *origin_);
    auto intended = catalog_.intend(snapshot_.id, intentOf(step::kSync, sync_));
    if (!intended) {
        return intended.failure();
    }
    syncStep_ = *intended;
    if (Status switched = writeThrough(*fileSystem_, sync_); !switched) {
        return switched;
    }
    return catalog_.finish({*intended, StepOutcome::kDone, {}});
}

// The snapshot is made: what fails here is told beside it, and tried again by delete.
Status SnapshotRoad::switchCachingOn() {
    if (!syncStep_) {
        return Done{};
    }
    auto enabled = writeBackAgain(*fileSystem_, sync_);
    std::vector<std::string> warnings = enabled ? *enabled : enabled.failure().traceLines;
    if (!enabled) {
        warnings.push_back(enabled.failure().cause);
        if (Status noted = catalog_.noteUndoFailure(*syncStep_, enabled.failure().cause); !noted) {
            return noted;
        }
    } else if (Status undone = catalog_.undone(*syncStep_); !undone) {
        return undone;
    }
    snapshot_.warnings.insert(snapshot_.warnings.end(), warnings.begin(), warnings.end());
    return Done{};
}

Status SnapshotRoad::passWindow() {
    if (snapshot_.isCrash) {
        return cutWithoutFreeze();
    }
    GuardLimits limits;
    limits.by = fileSystem_->record()->quiesce != nullptr ? FreezeBy::kCommand : FreezeBy::kHost;
    limits.frozen = std::chrono::milliseconds(settings_.freezeBudgetMs);
    auto guard = FreezeGuard::arm(*directory_, limits);
    if (!guard) {
        return guard.failure();
    }
    auto steps = catalog_.windowIntent(
        snapshot_.id, {intentOf(step::kFreeze, FreezeUndo{origin_->point, origin_->type, directory_->device()}),
                       intentOf(step::kMake, VolumeUndo{volume_->provider().name(), volume_->name()}),
                       StepIntent{step::kThaw, "{}"}});
    if (!steps) {
        return steps.failure();
    }
    windowSteps_ = *steps;
    syncFs(directory_->fd());  // what is dirty is written before anybody waits for it
    WindowReport report = Window(*fileSystem_, *volume_, *directory_, *guard, origin_->type).run();
    if (Status written = writeOutcome(report); !written && !report.failure) {
        return written;
    }
    if (report.failure) {
        return *std::move(report.failure);
    }
    snapshot_.snapshotDevice = report.snapshot;
    snapshot_.isBroken = report.isBroken;
    snapshot_.still = report.still;
    snapshot_.made = report.made;
    snapshot_.frozenAt = guard->window().frozenAt().value_or(std::chrono::steady_clock::time_point{});
    snapshot_.thawedAt = guard->window().thawedAt().value_or(std::chrono::steady_clock::time_point{});
    return keepState(volumeRow_, *volume_);
}

// Nothing stands still: the volume layer cuts at one instant. The step is written as a window because nothing can be
// written down between its begin and its end.
Status SnapshotRoad::cutWithoutFreeze() {
    auto steps = catalog_.windowIntent(
        snapshot_.id, {intentOf(step::kMake, VolumeUndo{volume_->provider().name(), volume_->name()})});
    if (!steps) {
        return steps.failure();
    }
    windowSteps_ = *steps;
    syncFs(directory_->fd());
    znfi_objid** ids = nullptr;
    int count = 0;
    const auto start = std::chrono::steady_clock::now();
    CallOutcome outcome = volume_->provider().call([&](const EntryPoints& entry) {
        return entry.make(volume_->split(), snapshot_.id.data(), nullptr, 0, &ids, &count);
    });
    snapshot_.made = std::chrono::steady_clock::now() - start;
    if (outcome.isOk() && ids != nullptr && count == 1 && ids[0] != nullptr) {
        snapshot_.snapshotDevice = ids[0]->name;
    }
    znfi_free_buf(ids, static_cast<size_t>(count > 0 ? count : 0) * sizeof(znfi_objid*));
    const bool isMade = !snapshot_.snapshotDevice.empty();
    Status written = catalog_.windowOutcome(
        snapshot_.id, {{{windowSteps_[0], isMade ? StepOutcome::kDone : StepOutcome::kUnknown, {}}},
                       isMade ? Consistency::kCrash : Consistency::kUndecided,
                       std::nullopt});
    if (!outcome.isOk()) {
        return failureOf(volume_->provider(), outcome, "make the snapshot", volume_->name());
    }
    if (!isMade) {
        return Failure{ExitCode::kFailed, "make the snapshot", volume_->name(),
                       volume_->provider().name() + " reported success but named no snapshot"};
    }
    return written ? keepState(volumeRow_, *volume_) : written;
}

// A freeze of ours that may still be in place stays intended: delete thaws it.
Status SnapshotRoad::writeOutcome(const WindowReport& report) {
    const bool mayBeFrozen =
        report.failure && report.failure->code == ExitCode::kMayBeFrozen && !report.isNobodysFreeze;
    const std::string detail = report.failure ? report.failure->cause : "";
    const StepOutcome freeze = mayBeFrozen        ? StepOutcome::kUnknown
                               : report.wasFrozen ? StepOutcome::kDone
                                                  : StepOutcome::kFailed;
    const StepOutcome make = report.snapshot.empty() ? StepOutcome::kUnknown : StepOutcome::kDone;
    WindowResult result;
    result.steps = {{windowSteps_[0], freeze, detail},
                    {windowSteps_[1], make, {}},
                    {windowSteps_[2], mayBeFrozen ? StepOutcome::kUnknown : StepOutcome::kDone, {}}};
    result.consistency = report.isBroken    ? Consistency::kBroken
                         : report.wasFrozen ? Consistency::kFrozen
                                            : Consistency::kUndecided;
    result.windowNs = report.still.count();
    return catalog_.windowOutcome(snapshot_.id, result);
}

// The volume layer's snapshot becomes the file-system layer's: its session learns the device's name, and its make
// answers the object id.
Status SnapshotRoad::handOver() {
    auto row = catalog_.addNode(
        snapshot_.id, {NodeRole::kSnapshotDevice, volume_->provider().name(), snapshot_.snapshotDevice, volumeRow_});
    if (!row) {
        return row.failure();
    }
    zfi_snapreplica_ele element{fileSystem_->record()->objid, objectId(snapshot_.snapshotDevice), nullptr, 0, 0};
    Provider& provider = fileSystem_->provider();
    CallOutcome told = provider.call(
        [&](const EntryPoints& entry) { return entry.update_snapshot_handle(snapshot_.id.data(), &element); });
    if (!told.isOk()) {
        return failureOf(provider, told, "hand the snapshot device over", snapshot_.snapshotDevice);
    }
    znfi_objid** ids = nullptr;
    int count = 0;
    CallOutcome made = provider.call([&](const EntryPoints& entry) {
        return entry.make(fileSystem_->split(), snapshot_.id.data(), nullptr, 0, &ids, &count);
    });
    snapshotId_ = made.isOk() && ids != nullptr && count == 1 ? ids[0] : nullptr;
    znfi_free_buf(ids, static_cast<size_t>(count > 0 ? count : 0) * sizeof(znfi_objid*));
    if (!made.isOk()) {
        return failureOf(provider, made, "make the snapshot", fileSystem_->name());
    }
    if (snapshotId_ == nullptr) {
        return Failure{ExitCode::kFailed, "make the snapshot", fileSystem_->name(),
                       provider.name() + " reported success but named no snapshot"};
    }
    return Done{};
}

Status SnapshotRoad::mountAlternate() {
    Provider& provider = fileSystem_->provider();
    const MountUndo undo{provider.name(),
                         origin_->point,
                         snapshot_.alternate,
                         snapshot_.snapshotDevice,
                         keptDirectory(*alternateName_),
                         restrictionsOf(*origin_)};
    auto intended = catalog_.intend(snapshot_.id, intentOf(step::kMount, undo));
    if (!intended) {
        return intended.failure();
    }
    fileSystem_->requestAlternate(snapshot_.alternate);
    znfi_objid* alternate = nullptr;
    znfi_objid* sources[] = {fileSystem_->record()->objid};
    znfi_objid* snapshots[] = {snapshotId_};
    CallOutcome outcome = provider.call([&](const EntryPoints& entry) {
        return entry.build_alttree(fileSystem_->record(), snapshot_.id.data(), sources, snapshots, 1, &alternate);
    });
    if (!outcome.isOk()) {
        return failureOf(provider, outcome, "mount the snapshot", snapshot_.alternate);
    }
    if (Status restricted = restrictMount(restrictionsOf(*origin_), snapshot_.alternate); !restricted) {
        return restricted;
    }
    return catalog_.finish({*intended, StepOutcome::kDone, {}});
}

Status SnapshotRoad::initAlternate() {
    Provider& provider = fileSystem_->provider();
    alternate_ = std::make_unique<Node>(provider, snapshot_.alternate);
    if (Status initialised = alternate_->initAsAlternateOf(*fileSystem_); !initialised) {
        return initialised;
    }
    auto row = catalog_.addNode(snapshot_.id, {NodeRole::kAlternate, provider.name(), snapshot_.alternate, originRow_});
    if (!row) {
        return row.failure();
    }
    if (Status kept = keepState(*row, *alternate_); !kept) {
        return kept;
    }
    return keepState(originRow_, *fileSystem_);
}

Status SnapshotRoad::keepState(std::int64_t nodeId, Node& node) {
    auto state = node.state();
    if (!state) {
        return state.failure();
    }
    return catalog_.writeBlob(nodeId, {*state + '\0', ZFI_BLOB_TEXT});
}

void SnapshotRoad::rollBack(Failure& cause) {
    if (snapshot_.id.empty()) {
        return;
    }
    forgetInterruption();
    directory_.reset();  // an open directory would keep the file system busy
    alternate_.reset();
    if (Status undone = UndoRoad(providers_, catalog_).undo(snapshot_.id); !undone) {
        cause.undoing.push_back(std::move(undone.failure()));
    }
}

}  // namespace tarnctl
