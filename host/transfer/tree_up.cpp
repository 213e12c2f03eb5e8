#include "host/transfer/tree_up.h"

#include <sys/stat.h>

#include <algorithm>

#include "host/mounts/mount_table.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"
#include "host/transfer/superblock.h"
#include "znfi.h"

namespace tarnctl {
namespace {

// The provider tries a mount that fails five times, with pauses of half a minute.
constexpr const char* kMountIsTried =
    "tarnctl: interrupted; waiting for the mount that is being tried (up to about two minutes where it fails)\n";

std::string nameIn(const znfi_objid* id) {
    return id == nullptr || id->name == nullptr ? "" : id->name;
}

}  // namespace

Status TreeUp::climb(const WayUp& way) {
    if (Status attached = attach(way); !attached) {
        return attached;
    }
    if (Status looked = look(way); !looked) {
        return looked;
    }
    if (Status going = refuseWhenInterrupted("mount the snapshot", way.snapshotId); !going) {
        return going;
    }
    if (Status mounted = mount(way, device_); !mounted) {
        return mounted;
    }
    return refuseWhenInterrupted("mount the snapshot", way.snapshotId);
}

Status TreeUp::attach(const WayUp& way) {
    const AttachUndo undo{volume_.provider().name(), volume_.name(), "tarnfi-" + way.snapshotId};
    auto intended = catalog_.intend(way.snapshotId, intentOf(step::kAttach, undo));
    if (!intended) {
        return intended.failure();
    }
    volume_.requestAlternate(undo.reference);
    znfi_objid* named[] = {way.file.empty() ? nullptr : objectId(way.file)};
    const int count = way.file.empty() ? 0 : 1;
    znfi_objid* attached = nullptr;
    CallOutcome outcome = volume_.provider().call([&](const EntryPoints& entry) {
        return entry.import_tree(volume_.record(), nullptr, count == 0 ? nullptr : named, count, &attached);
    });
    const std::string subject = way.file.empty() ? way.snapshotId : way.file;
    if (!outcome.isOk()) {
        return failureOf(volume_.provider(), outcome, "attach the snapshot", subject);
    }
    device_ = nameIn(attached);
    struct stat status {};
    if (!checkName(NameKind::kDevice, device_) || ::stat(device_.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) {
        return Failure{ExitCode::kFailed, "attach the snapshot", subject,
                       volume_.provider().name() + " reported success but named no device"};
    }
    if (Status kept = keepState(way.snapshotId, NodeRole::kDevice, volume_); !kept) {
        return kept;
    }
    auto parent = newestNode(catalog_, way.snapshotId, NodeRole::kDevice);
    if (!parent) {
        return parent.failure();
    }
    auto row =
        catalog_.addNode(way.snapshotId, {NodeRole::kSnapshotDevice, volume_.provider().name(), device_, parent->id});
    return row ? catalog_.finish({*intended, StepOutcome::kDone, {}}) : Status(row.failure());
}

Status TreeUp::look(const WayUp& way) {
    const std::string subject = way.file.empty() ? device_ : way.file;
    auto found = superblockOn(device_);
    if (!found) {
        found.failure().subject = subject;
        return found.failure();
    }
    return refuseOther(way.expected, *found, subject);
}

Status TreeUp::mount(const WayUp& way, const std::string& device) {
    device_ = device;
    const MountUndo undo{fileSystem_.provider().name(), fileSystem_.name(), way.alternate.name, device_,
                         keptDirectory(way.alternate),  way.restrictions};
    auto intended = catalog_.intend(way.snapshotId, intentOf(step::kMount, undo));
    if (!intended) {
        return intended.failure();
    }
    if (Status mounted = callMount(way); !mounted) {
        return mounted;
    }
    if (Status restricted = restrictMount(way.restrictions, way.alternate.name); !restricted) {
        return restricted;
    }
    if (Status initialised = initAlternate(way); !initialised) {
        return initialised;
    }
    return catalog_.finish({*intended, StepOutcome::kDone, {}});
}

Status TreeUp::callMount(const WayUp& way) {
    fileSystem_.requestAlternate(way.alternate.name);
    znfi_objid* devices[] = {objectId(device_)};
    znfi_objid* alternate = nullptr;
    const AnswerInterruptions patient(kMountIsTried);
    CallOutcome outcome = fileSystem_.provider().call([&](const EntryPoints& entry) {
        return entry.import_tree(fileSystem_.record(), nullptr, devices, 1, &alternate);
    });
    if (!outcome.isOk()) {
        return failureOf(fileSystem_.provider(), outcome, "mount the snapshot", way.alternate.name);
    }
    if (nameIn(alternate) != way.alternate.name) {
        return Failure{ExitCode::kFailed, "mount the snapshot", way.alternate.name,
                       fileSystem_.provider().name() + " reported success but mounted it at another name"};
    }
    return isMountedRight(way);
}

Status TreeUp::isMountedRight(const WayUp& way) {
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    struct stat status {};
    const auto mounts = table->allAt(way.alternate.name);
    if (mounts.size() != 1 || ::stat(device_.c_str(), &status) != 0 || mounts.front()->device != status.st_rdev) {
        return Failure{ExitCode::kFailed, "mount the snapshot", way.alternate.name,
                       "what is mounted there is not " + device_};
    }
    return Done{};
}

Status TreeUp::initAlternate(const WayUp& way) {
    Node alternate(fileSystem_.provider(), way.alternate.name);
    if (Status initialised = alternate.initAsAlternateOf(fileSystem_); !initialised) {
        return initialised;
    }
    auto parent = newestNode(catalog_, way.snapshotId, NodeRole::kOrigin);
    if (!parent) {
        return parent.failure();
    }
    auto row = catalog_.addNode(way.snapshotId,
                                {NodeRole::kAlternate, fileSystem_.provider().name(), way.alternate.name, parent->id});
    if (!row) {
        return row.failure();
    }
    if (Status kept = keepState(way.snapshotId, NodeRole::kAlternate, alternate); !kept) {
        return kept;
    }
    return keepState(way.snapshotId, NodeRole::kOrigin, fileSystem_);
}

Status TreeUp::keepState(const std::string& snapshotId, NodeRole role, Node& node) {
    auto row = newestNode(catalog_, snapshotId, role);
    if (!row) {
        return row.failure();
    }
    return tarnctl::keepState(catalog_, row->id, node);
}

}  // namespace tarnctl
