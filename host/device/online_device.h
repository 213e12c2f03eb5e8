// A device that is nobody's, brought on line: its file system mounted where it belongs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/device/block_device.h"
#include "host/installation.h"
#include "host/mounts/fs_lock.h"
#include "host/mounts/mount_table.h"
#include "host/provider/node.h"
#include "host/report/failure.h"

namespace tarnctl {

struct OnlineRequest {
    std::string device;
    std::string mountPoint;
    std::optional<std::string> options;  // for mount; none: those recorded with a snapshot, else mount's own
};

struct Onlined {
    std::string device;
    std::string mountPoint;
    std::string type;
    std::string options;                // as the kernel lists them now
    std::string recordedIn;             // the snapshot whose record gave the options; empty for none
    bool wasThere = false;              // it was mounted there already: nothing was done
    std::vector<std::string> warnings;  // what went wrong on the way, a repair included
};

class OnlineDevice {
  public:
    // Borrowed; one device per object. One thread.
    OnlineDevice(Providers& providers, const Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // Mounts it, unless it is mounted exactly there. Checks first that it is nobody's, no snapshot's copy, and holds
    // one file system. With options that were given, or none at all, a mount that fails is tried once more after fsck
    // -y; with recorded options it is not. After a failure or an interruption it is not mounted, and a mount point that
    // was made for it is gone again; what that failed on is in the failure's `undoing`.
    Result<Onlined> online(const OnlineRequest& request);

  private:
    Result<Onlined> bring(const OnlineRequest& request);
    Status check(const OnlineRequest& request);
    Status checkContent();
    Status checkPlace(const MountTable& table);
    Status findRecord(const OnlineRequest& request);
    Status takeOptionsOf(const std::string& snapshotId);
    Status mountAsRecorded();
    Status mountOrRepair(const std::string& options);
    Status prove();
    void takeBack(Failure& cause);
    const MountEntry* mountThere(const MountTable& table) const;

    Providers& providers_;
    const Catalog& catalog_;
    BlockDevice device_;
    std::optional<FsLock> lock_;
    std::optional<FsLock> placeLock_;
    std::string mountPoint_;
    bool placeExisted_ = false;
    std::unique_ptr<Node> recorded_;  // null: nothing is recorded of it
    Onlined onlined_;
};

}  // namespace tarnctl
