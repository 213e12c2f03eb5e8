#include "host/road/alternate_mount.h"

#include <memory>

#include "host/road/recorded_nodes.h"
#include "host/road/restrict_mount.h"
#include "host/road/step_undo.h"

namespace tarnctl {

Status handOver(SnapshotInMaking& making) {
    auto row = making.catalog.addNode(making.snapshot.id, {NodeRole::kSnapshotDevice, making.volume->provider().name(),
                                                           making.snapshot.snapshotDevice, making.volumeRow});
    if (!row) {
        return row.failure();
    }
    zfi_snapreplica_ele element{making.fileSystem->record()->objid, objectId(making.snapshot.snapshotDevice), nullptr,
                                0, 0};
    Provider& provider = making.fileSystem->provider();
    CallOutcome told = provider.call(
        [&](const EntryPoints& entry) { return entry.update_snapshot_handle(making.snapshot.id.data(), &element); });
    if (!told.isOk()) {
        return failureOf(provider, told, "hand the snapshot device over", making.snapshot.snapshotDevice);
    }
    auto made = making.fileSystem->makeSnapshot();
    if (!made) {
        return made.failure();
    }
    making.snapshotId = *made;
    return Done{};
}

Status mountAlternate(SnapshotInMaking& making) {
    Provider& provider = making.fileSystem->provider();
    const MountUndo undo{provider.name(),
                         making.origin->point,
                         making.snapshot.alternate,
                         making.snapshot.snapshotDevice,
                         keptDirectory(*making.alternateName),
                         restrictionsOf(*making.origin)};
    auto intended = making.catalog.intend(making.snapshot.id, intentOf(step::kMount, undo));
    if (!intended) {
        return intended.failure();
    }
    making.fileSystem->requestAlternate(making.snapshot.alternate);
    znfi_objid* alternate = nullptr;
    znfi_objid* sources[] = {making.fileSystem->record()->objid};
    znfi_objid* snapshots[] = {making.snapshotId};
    CallOutcome outcome = provider.call([&](const EntryPoints& entry) {
        return entry.build_alttree(making.fileSystem->record(), making.snapshot.id.data(), sources, snapshots, 1,
                                   &alternate);
    });
    if (!outcome.isOk()) {
        return failureOf(provider, outcome, "mount the snapshot", making.snapshot.alternate);
    }
    if (Status restricted = restrictMount(restrictionsOf(*making.origin), making.snapshot.alternate); !restricted) {
        return restricted;
    }
    return making.catalog.finish({*intended, StepOutcome::kDone, {}});
}

Status initAlternate(SnapshotInMaking& making) {
    Provider& provider = making.fileSystem->provider();
    making.alternate = std::make_unique<Node>(provider, making.snapshot.alternate);
    if (Status initialised = making.alternate->initAsAlternateOf(*making.fileSystem); !initialised) {
        return initialised;
    }
    auto row = making.catalog.addNode(
        making.snapshot.id, {NodeRole::kAlternate, provider.name(), making.snapshot.alternate, making.originRow});
    if (!row) {
        return row.failure();
    }
    if (Status kept = keepState(making.catalog, *row, *making.alternate); !kept) {
        return kept;
    }
    return keepState(making.catalog, making.originRow, *making.fileSystem);
}

}  // namespace tarnctl
