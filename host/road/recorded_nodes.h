// The nodes of a snapshot as the catalog recorded them, in a process that need not be the one that made it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/provider/node.h"
#include "host/report/failure.h"

namespace tarnctl {

// The loaded provider of this name, borrowed from `providers`; kNotFound when there is none.
Result<Provider*> providerNamed(const Providers& providers, const std::string& name);

// The state that the provider of the newest node in this role gave, without its terminator; kNotFound when there is
// none.
Result<std::string> recordedState(const Catalog& catalog, const std::string& snapshotId, NodeRole role);

// Asks the provider for the node's state and writes it into its row.
Status keepState(Catalog& catalog, std::int64_t row, Node& node);

// The row of the newest node that the snapshot has in this role; kNotFound when there is none.
Result<NodeRecord> newestNode(const Catalog& catalog, const std::string& snapshotId, NodeRole role);

// The newest node that the snapshot has in this role, with its provider's state from the catalog. It is not initialised
// by looking at the machine: what it knows is what was recorded. A node that was recorded without a state comes back
// without private data (record()->privateData is null). kNotFound: no such snapshot, node or provider; else what the
// provider said of the state. Reads only; borrows `providers`.
Result<std::unique_ptr<Node>> recordedNode(const Providers& providers, const Catalog& catalog,
                                           const std::string& snapshotId, NodeRole role);

// Was the snapshot made on another host? Then what it was made from is not here, whatever is called so here, and its
// file is not ours.
Result<bool> isImported(const Catalog& catalog, const std::string& snapshotId);

}  // namespace tarnctl
