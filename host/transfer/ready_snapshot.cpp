#include "host/transfer/ready_snapshot.h"

namespace tarnctl {

Result<ReadySnapshot> holdReady(const Catalog& catalog, const std::string& id, const std::string& operation) {
    if (auto known = catalog.snapshot(id); !known) {
        return known.failure();
    }
    auto lock = FsLock::takeForSnapshot(id);
    if (!lock) {
        return lock.failure();
    }
    auto record = catalog.snapshot(id);  // as it is now that nobody else changes it
    if (!record) {
        return record.failure();
    }
    if (record->state != SnapshotState::kReady) {
        const bool isGone = record->state == SnapshotState::kGone;
        return Failure{isGone ? ExitCode::kNotFound : ExitCode::kUnsupported, operation, id,
                       "it is " + std::string(nameOf(record->state)) +
                           (isGone ? "" : ": only a whole snapshot can be used; delete takes the rest away")};
    }
    auto standing = standingOf(catalog, *record);
    if (!standing) {
        return standing.failure();
    }
    return ReadySnapshot{std::move(*lock), *record, *standing};
}

}  // namespace tarnctl
