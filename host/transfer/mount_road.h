// mount ID [NAME]: an unmounted snapshot becomes readable again.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"
#include "host/transfer/ready_snapshot.h"
#include "host/transfer/tree_up.h"

namespace tarnctl {

struct MountedSnapshot {
    std::string id;
    std::string alternate;
    std::string device;
};

class MountRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    MountRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // name: empty: where it was mounted last. Mounted there already is fine, elsewhere is kBusy. A half-done way, up or
    // down, is taken apart first. A failure leaves it unmounted, except what its `undoing` names.
    Result<MountedSnapshot> mount(const std::string& id, const std::string& name);

  private:
    Status bringToRest(const ReadySnapshot& snapshot);
    Result<WayUp> choose(const ReadySnapshot& snapshot, const std::string& name);
    Result<MountedSnapshot> climb(const WayUp& way);

    Providers& providers_;
    Catalog& catalog_;
};

}  // namespace tarnctl
