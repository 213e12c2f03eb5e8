#include "host/road/origin_claim.h"

#include <fmt/format.h>

#include <cstdlib>
#include <vector>

#include "host/mounts/own_paths.h"
#include "host/road/write_through.h"

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

Status claimFileSystem(SnapshotInMaking& making) {
    auto owner = claimant(making.providers, making.origin->point);
    if (!owner) {
        return owner.failure();
    }
    if (*owner == nullptr) {
        return Failure{ExitCode::kUnsupported, "claim", making.origin->point,
                       fmt::format("no provider claims a {} file system", making.origin->type)};
    }
    making.fileSystem = std::make_unique<Node>(**owner, making.origin->point);
    return making.fileSystem->init();
}

Status claimVolume(SnapshotInMaking& making) {
    auto devices = making.fileSystem->subObjects();
    if (!devices) {
        return devices.failure();
    }
    if (devices->size() != 1) {
        return Failure{ExitCode::kUnsupported, "list the devices", making.origin->point,
                       "it does not stand on one device"};
    }
    const std::string& device = devices->front();
    if (Status safe = checkName(NameKind::kDevice, device); !safe) {
        return safe;
    }
    auto owner = claimant(making.providers, device);
    if (!owner) {
        return owner.failure();
    }
    if (*owner == nullptr) {
        return Failure{ExitCode::kUnsupported, "claim", device,
                       "no volume provider claims the device below " + making.origin->point};
    }
    making.volume = std::make_unique<Node>(**owner, device);
    return making.volume->init();
}

// Without a freeze the image moves while it is cut: only who cuts it at one instant may.
Status refuseMovingImage(SnapshotInMaking& making) {
    auto cutsAtomically = making.volume->cutsAtomically();
    if (!cutsAtomically) {
        return cutsAtomically.failure();
    }
    if (!*cutsAtomically) {
        return Failure{
            ExitCode::kUnsupported, "snapshot", making.origin->point,
            fmt::format("the kernel cannot freeze {}, and {} does not say that it cuts {} atomically: a copy "
                        "of a moving image would be worthless",
                        making.origin->type, making.volume->provider().name(), making.volume->name())};
    }
    making.snapshot.isCrash = true;
    making.snapshot.isThrough = true;
    return Done{};
}

}  // namespace

Status lookAt(SnapshotInMaking& making, const std::string& path) {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    auto origin = checkMountPoint(*table, path, {});
    if (!origin) {
        return origin.failure();
    }
    making.origin = *origin;
    auto lock = FsLock::take(making.origin->device, making.origin->point);
    if (!lock) {
        return lock.failure();
    }
    making.lock = std::move(*lock);
    auto derived = deriveAlternate(*table, making.origin->point);
    if (!derived) {
        return derived.failure();
    }
    auto checked = checkAlternate(*table, derived->name);
    if (!checked) {
        return checked.failure();
    }
    making.alternateName = *checked;
    auto directory = HeldDirectory::open(making.origin->point);
    if (!directory) {
        return directory.failure();
    }
    making.directory = std::move(*directory);
    return Done{};
}

Status claimNodes(SnapshotInMaking& making) {
    for (auto* next : {claimFileSystem, claimVolume}) {
        if (Status status = next(making); !status) {
            return status;
        }
    }
    return cannotBeFrozen(making.origin->type) ? refuseMovingImage(making) : Status(Done{});
}

Status refuseUnsafe(SnapshotInMaking& making) {
    if (making.snapshot.isCrash) {
        return Done{};  // nothing is going to be frozen
    }
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    return refuseOwnOnFrozen(*table, {*making.origin}, pathsNeededWhileFrozen(making.catalog));
}

}  // namespace tarnctl
