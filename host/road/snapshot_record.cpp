#include "host/road/snapshot_record.h"

#include "host/road/recorded_nodes.h"
#include "host/road/step_undo.h"

namespace tarnctl {
namespace {

Status joinSession(SnapshotInMaking& making, Node& node) {
    node.joinSession(making.snapshot.id, making.settings.freezeBudgetMs);
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
            [&](const EntryPoints& entry) { return call.run(entry, node.split(), making.snapshot.id.data()); });
        if (!outcome.isOk()) {
            return failureOf(node.provider(), outcome, call.name, node.name());
        }
    }
    return Done{};
}

}  // namespace

Status recordSnapshot(SnapshotInMaking& making) {
    auto created = making.catalog.createSnapshot({making.origin->point, making.volume->name(), making.origin->type});
    if (!created) {
        return created.failure();
    }
    making.snapshot.id = created->id;
    making.snapshot.mountPoint = making.origin->point;
    making.snapshot.device = making.volume->name();
    making.snapshot.fsType = making.origin->type;
    making.snapshot.alternate = making.alternateName->name;
    auto originRow = making.catalog.addNode(
        making.snapshot.id,
        {NodeRole::kOrigin, making.fileSystem->provider().name(), making.fileSystem->name(), std::nullopt});
    if (!originRow) {
        return originRow.failure();
    }
    making.originRow = *originRow;
    auto volumeRow = making.catalog.addNode(making.snapshot.id, {NodeRole::kDevice, making.volume->provider().name(),
                                                                 making.volume->name(), making.originRow});
    if (!volumeRow) {
        return volumeRow.failure();
    }
    making.volumeRow = *volumeRow;
    if (Status kept = keepState(making.catalog, making.originRow, *making.fileSystem); !kept) {
        return kept;
    }
    return keepState(making.catalog, making.volumeRow, *making.volume);
}

Status reserveSnapshot(SnapshotInMaking& making) {
    if (Status joined = joinSession(making, *making.fileSystem); !joined) {
        return joined;
    }
    auto intended = making.catalog.intend(
        making.snapshot.id,
        intentOf(step::kPrepare, VolumeUndo{making.volume->provider().name(), making.volume->name()}));
    if (!intended) {
        return intended.failure();
    }
    if (Status joined = joinSession(making, *making.volume); !joined) {
        return joined;
    }
    if (Status kept = keepState(making.catalog, making.volumeRow, *making.volume); !kept) {
        return kept;
    }
    return making.catalog.finish({*intended, StepOutcome::kDone, {}});
}

}  // namespace tarnctl
