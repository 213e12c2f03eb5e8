#include "host/transfer/export_road.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "host/road/recorded_nodes.h"
#include "znfi.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "export the snapshot";

std::string hostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

Result<ExportDocument> ExportRoad::exportOf(const std::string& id) {
    auto held = holdReady(catalog_, id, kOperation);
    if (!held) {
        return held.failure();
    }
    if (Status fit = refuseUnfit(*held); !fit) {
        return fit.failure();
    }
    if (Status there = checkData(id); !there) {
        return there.failure();
    }
    auto fileSystem = nodeOf(id, NodeRole::kOrigin);
    auto volume = nodeOf(id, NodeRole::kDevice);
    if (!fileSystem || !volume) {
        return fileSystem ? volume.failure() : fileSystem.failure();
    }
    const SnapshotRecord& record = held->record;
    const Standing& standing = held->standing;
    ExportDocument document{id,
                            hostName(),
                            record.createdNs,
                            record.consistency,
                            record.windowNs,
                            record.origin,
                            standing.lastMounted ? standing.lastMounted->restrictions : Restrictions{},
                            standing.superblock.value_or(Superblock{}),
                            *fileSystem,
                            *volume};
    // What the other side would refuse is no export.
    auto again = exportDocumentOf(textOf(document), id);
    return again ? Result<ExportDocument>(document) : Result<ExportDocument>(again.failure());
}

Status ExportRoad::refuseUnfit(const ReadySnapshot& snapshot) {
    const std::string& state = snapshot.standing.state;
    if (state != "unmounted") {
        return Failure{ExitCode::kBusy, kOperation, snapshot.record.id,
                       (state == "ready" ? "it is mounted, and its file may still change: " : "it is " + state + ": ") +
                           "run umount first"};
    }
    const Consistency consistency = snapshot.record.consistency;
    if (consistency != Consistency::kFrozen && consistency != Consistency::kCrash) {
        return Failure{ExitCode::kUnsupported, kOperation, snapshot.record.id,
                       "its consistency is " + std::string(nameOf(consistency)) +
                           ": it is not the picture of one instant, and nobody should use it"};
    }
    return Done{};
}

Status ExportRoad::checkData(const std::string& id) {
    auto volume = recordedNode(providers_, catalog_, id, NodeRole::kDevice);
    if (!volume) {
        return volume.failure();
    }
    Node& node = **volume;
    CallOutcome outcome = node.provider().call([&](const EntryPoints& entry) {
        return entry.reaccess_altnode(node.record(), node.record()->objid, nullptr, nullptr, nullptr, nullptr, 0,
                                      ZFI_INTENT_READ);
    });
    return outcome.isOk() ? Status(Done{}) : failureOf(node.provider(), outcome, "look for the snapshot's data", id);
}

Result<ExportedNode> ExportRoad::nodeOf(const std::string& id, NodeRole role) {
    auto nodes = catalog_.nodes(id);
    if (!nodes) {
        return nodes.failure();
    }
    const auto found =
        std::find_if(nodes->rbegin(), nodes->rend(), [role](const NodeRecord& node) { return node.node.role == role; });
    if (found == nodes->rend() || !found->blob || found->blob->encoding != ZFI_BLOB_TEXT) {
        return Failure{ExitCode::kFailed, kOperation, id,
                       "its record holds no state of its node for " + std::string(nameOf(role))};
    }
    const std::string& bytes = found->blob->bytes;
    return ExportedNode{found->node.provider, bytes.substr(0, bytes.find('\0'))};
}

}  // namespace tarnctl
