// A snapshot written back over its origin's device, through the volume provider.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/provider/node.h"
#include "host/report/failure.h"

namespace tarnctl {

// One thread. The origin's device keeps its number while this lives.
class VolumeRestore {
  public:
    // From the snapshot's record. kNotFound where it lacks the nodes. `providers` is borrowed.
    static Result<VolumeRestore> of(const Providers& providers, const Catalog& catalog, const std::string& snapshotId);

    // Whether it would be refused, apart from the origin being in use. Changes nothing. Answers the device that the
    // origin has now.
    Result<std::string> check();
    // Writes. After a failure isHalf tells whether the origin was touched.
    Result<std::string> write();
    bool isHalf() const { return isHalf_; }

    const std::string& provider() { return origin_->provider().name(); }
    const std::string& recordedDevice() const { return origin_->name(); }
    const std::string& snapshotDevice() const { return snapshot_->name(); }

  private:
    VolumeRestore(std::string id, std::unique_ptr<Node> origin, std::unique_ptr<Node> snapshot)
        : id_(std::move(id)), origin_(std::move(origin)), snapshot_(std::move(snapshot)) {}
    Result<std::string> call(long flags);

    std::string id_;
    std::unique_ptr<Node> origin_;
    std::unique_ptr<Node> snapshot_;
    bool isHalf_ = false;
};

}  // namespace tarnctl
