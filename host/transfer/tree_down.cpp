#include "host/transfer/tree_down.h"

#include "host/mounts/device_users.h"
#include "host/provider/node.h"
#include "host/road/recorded_nodes.h"
#include "host/road/undo_road.h"

namespace tarnctl {
namespace {

// Newest first.
Status undoAll(Providers& providers, Catalog& catalog, const std::string& snapshotId, const char* name) {
    auto steps = catalog.stepsToUndo(snapshotId);
    if (!steps) {
        return steps.failure();
    }
    for (const StepRecord& step : *steps) {
        if (step.intent.name != name) {
            continue;
        }
        if (Status undone = UndoRoad(providers, catalog).undoStep(step); !undone) {
            return undone;
        }
        if (Status noted = catalog.undone(step.key); !noted) {
            return noted;
        }
    }
    return Done{};
}

// The device that the snapshot got when it was made is in no step of its own; its provider knows it by the file.
Status detachByRecord(Providers& providers, Catalog& catalog, const std::string& snapshotId) {
    auto volume = recordedNode(providers, catalog, snapshotId, NodeRole::kDevice);
    if (!volume) {
        return volume.failure();
    }
    Node& node = **volume;
    if (node.record()->privateData == nullptr) {
        return Done{};  // an import that was killed before anything was attached
    }
    zfi_accessnode access{nullptr, 1, 0};
    CallOutcome outcome = node.provider().call(
        [&](const EntryPoints& entry) { return entry.deport_tree(node.record(), nullptr, &access); });
    return outcome.isOk() ? Status(Done{}) : failureOf(node.provider(), outcome, "detach the snapshot of", node.name());
}

Status refuseInUse(const Catalog& catalog, const std::string& snapshotId) {
    auto steps = catalog.stepsToUndo(snapshotId);
    if (!steps) {
        return steps.failure();
    }
    for (const StepRecord& step : *steps) {
        if (step.intent.name != step::kMount) {
            continue;
        }
        auto undo = mountUndoOf(step);
        Status unused = undo ? refuseOtherUsers(undo->snapshotDevice, undo->alternate) : Status(undo.failure());
        if (!unused) {
            return unused;
        }
    }
    return Done{};
}

}  // namespace

Status unmountTree(Providers& providers, Catalog& catalog, const std::string& snapshotId) {
    if (Status unused = refuseInUse(catalog, snapshotId); !unused) {
        return unused;
    }
    if (Status unmounted = undoAll(providers, catalog, snapshotId, step::kMount); !unmounted) {
        return unmounted;
    }
    return catalog.dropNodes(snapshotId, NodeRole::kAlternate);
}

Status detachTree(Providers& providers, Catalog& catalog, const std::string& snapshotId) {
    if (Status detached = undoAll(providers, catalog, snapshotId, step::kAttach); !detached) {
        return detached;
    }
    auto imported = isImported(catalog, snapshotId);
    if (!imported) {
        return imported.failure();
    }
    if (!*imported) {
        if (Status detached = detachByRecord(providers, catalog, snapshotId); !detached) {
            return detached;
        }
    }
    return catalog.dropNodes(snapshotId, NodeRole::kSnapshotDevice);
}

Status takeTreeDown(Providers& providers, Catalog& catalog, const std::string& snapshotId) {
    if (Status unmounted = unmountTree(providers, catalog, snapshotId); !unmounted) {
        return unmounted;
    }
    return detachTree(providers, catalog, snapshotId);
}

}  // namespace tarnctl
