// The way up of a snapshot whose file is at rest: attached, looked at, mounted read-only, its nodes in the catalog.
// Each step is in the catalog before it happens. What a failure leaves, tree_down or a delete takes away.
#pragma once

#include <cstdint>
#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/mounts/preflight.h"
#include "host/provider/node.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

struct WayUp {
    std::string snapshotId;
    std::string file;  // as the volume provider is given it; empty: the one that its node's state tells of
    AlternateName alternate;
    Restrictions restrictions{};
    Superblock expected;  // empty texts are not compared
};

class TreeUp {
  public:
    // Borrowed. fileSystem and volume have their state; the snapshot has their nodes, and its lock is held.
    TreeUp(Catalog& catalog, Node& fileSystem, Node& volume)
        : catalog_(catalog), fileSystem_(fileSystem), volume_(volume) {}

    // All of it. The failure of an interrupted call comes when the running provider call has ended.
    Status climb(const WayUp& way);
    // Only the mount, of a device that is attached.
    Status mount(const WayUp& way, const std::string& device);
    // The device that it was attached to.
    const std::string& device() const { return device_; }

  private:
    Status attach(const WayUp& way);
    Status look(const WayUp& way);
    Status callMount(const WayUp& way);
    Status isMountedRight(const WayUp& way);
    Status initAlternate(const WayUp& way);
    Status keepState(const std::string& snapshotId, NodeRole role, Node& node);

    Catalog& catalog_;
    Node& fileSystem_;
    Node& volume_;
    std::string device_;
};

}  // namespace tarnctl
