// umount ID: the snapshot comes to rest: unmounted, detached, its file stays.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"
#include "host/transfer/ready_snapshot.h"

namespace tarnctl {

class UmountRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    UmountRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // An unmounted one is fine; a half-done way, up or down, is finished. kBusy, with the snapshot as mounted as it
    // was, when somebody uses it or an unfinished restore needs its device.
    Status umount(const std::string& id);

  private:
    Status refuseNeeded(const std::string& id);
    Status detachOrGoBack(const ReadySnapshot& snapshot);
    Status mountAgain(const ReadySnapshot& snapshot);
    Status finish(const ReadySnapshot& snapshot, const StepKey& step);

    Providers& providers_;
    Catalog& catalog_;
};

}  // namespace tarnctl
