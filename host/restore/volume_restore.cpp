#include "host/restore/volume_restore.h"

#include <cstdlib>
#include <cstring>

#include "host/road/recorded_nodes.h"
#include "znfi.h"

namespace tarnctl {
namespace {

// Takes the array, as restore answers it; its first text.
std::string takeFirst(char** paths, long count) {
    std::string first;
    for (long i = 0; paths != nullptr && i < count; ++i) {
        if (paths[i] != nullptr) {
            first = i == 0 ? paths[i] : first;
            znfi_free_buf(paths[i], std::strlen(paths[i]) + 1);
        }
    }
    std::free(paths);
    return first;
}

}  // namespace

Result<VolumeRestore> VolumeRestore::of(const Providers& providers, const Catalog& catalog,
                                        const std::string& snapshotId) {
    auto origin = recordedNode(providers, catalog, snapshotId, NodeRole::kDevice);
    if (!origin) {
        return origin.failure();
    }
    auto snapshot = recordedNode(providers, catalog, snapshotId, NodeRole::kSnapshotDevice);
    if (!snapshot) {
        if (snapshot.failure().code == ExitCode::kNotFound) {
            snapshot.failure().cause += "; where it is unmounted, mount it first: tarnctl mount " + snapshotId;
        }
        return snapshot.failure();
    }
    return VolumeRestore(snapshotId, std::move(*origin), std::move(*snapshot));
}

Result<std::string> VolumeRestore::check() {
    return call(ZFI_RESTORE_CHECK);
}

Result<std::string> VolumeRestore::write() {
    return call(0);
}

Result<std::string> VolumeRestore::call(long flags) {
    znfi_objid* objects[] = {origin_->record()->objid};
    znfi_objid* snapshots[] = {snapshot_->record()->objid};
    char** targets = nullptr;
    long count = 0;
    long left = ZFI_RESTORE_UNTOUCHED;
    CallOutcome outcome = origin_->provider().call([&](const EntryPoints& entry) {
        return entry.restore(objects, snapshots, 1, id_.data(), nullptr, &targets, &count, flags, &left);
    });
    const std::string device = takeFirst(targets, count);
    const bool isWriting = (flags & ZFI_RESTORE_CHECK) == 0;
    isHalf_ = isWriting && (left == ZFI_RESTORE_HALF || !outcome.escaped.empty());
    if (!outcome.isOk()) {
        return failureOf(origin_->provider(), outcome, isWriting ? "restore" : "check that it can be restored",
                         origin_->name());
    }
    if (device.empty() || (isWriting && left != ZFI_RESTORE_WHOLE)) {
        isHalf_ = isWriting;
        return Failure{ExitCode::kFailed, "restore", origin_->name(),
                       origin_->provider().name() + " reported success, but not what became of the origin"};
    }
    return device;
}

}  // namespace tarnctl
