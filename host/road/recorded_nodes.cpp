#include "host/road/recorded_nodes.h"

#include <algorithm>

#include "host/road/step_undo.h"

namespace tarnctl {

Result<Provider*> providerNamed(const Providers& providers, const std::string& name) {
    for (const auto& loaded : providers) {
        if (loaded->name() == name) {
            return loaded.get();
        }
    }
    return Failure{ExitCode::kNotFound, "look the provider up", name, "it is not loaded; name it with --provider"};
}

Result<std::string> recordedState(const Catalog& catalog, const std::string& snapshotId, NodeRole role) {
    auto nodes = catalog.nodes(snapshotId);
    if (!nodes) {
        return nodes.failure();
    }
    const auto found = std::find_if(nodes->rbegin(), nodes->rend(), [role](const NodeRecord& node) {
        return node.node.role == role && node.blob.has_value();
    });
    if (found == nodes->rend()) {
        return Failure{ExitCode::kNotFound, "find the recorded state", snapshotId,
                       "its record has no state of a node for " + std::string(nameOf(role))};
    }
    return found->blob->bytes.substr(0, found->blob->bytes.find('\0'));
}

Status keepState(Catalog& catalog, std::int64_t row, Node& node) {
    auto state = node.state();
    if (!state) {
        return state.failure();
    }
    return catalog.writeBlob(row, {*state + '\0', ZFI_BLOB_TEXT});
}

Result<NodeRecord> newestNode(const Catalog& catalog, const std::string& snapshotId, NodeRole role) {
    auto nodes = catalog.nodes(snapshotId);
    if (!nodes) {
        return nodes.failure();
    }
    const auto found =
        std::find_if(nodes->rbegin(), nodes->rend(), [role](const NodeRecord& node) { return node.node.role == role; });
    if (found == nodes->rend()) {
        return Failure{ExitCode::kNotFound, "find the recorded node", snapshotId,
                       "its record names no node for " + std::string(nameOf(role))};
    }
    return *found;
}

Result<std::unique_ptr<Node>> recordedNode(const Providers& providers, const Catalog& catalog,
                                           const std::string& snapshotId, NodeRole role) {
    if (auto known = catalog.snapshot(snapshotId); !known) {
        return known.failure();
    }
    auto found = newestNode(catalog, snapshotId, role);
    if (!found) {
        return found.failure();
    }
    auto owner = providerNamed(providers, found->node.provider);
    if (!owner) {
        return owner.failure();
    }
    auto node = std::make_unique<Node>(**owner, found->node.name);
    if (found->blob) {
        const std::string& bytes = found->blob->bytes;
        if (Status restored = node->restoreState(bytes.substr(0, bytes.find('\0'))); !restored) {
            return restored.failure();
        }
    }
    return node;
}

Result<bool> isImported(const Catalog& catalog, const std::string& snapshotId) {
    auto steps = catalog.steps(snapshotId);
    if (!steps) {
        return steps.failure();
    }
    return std::any_of(steps->begin(), steps->end(),
                       [](const StepRecord& step) { return step.intent.name == step::kImport; });
}

}  // namespace tarnctl
