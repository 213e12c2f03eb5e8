// Unmounting the origin of a restore and mounting it again, through the file-system provider.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/installation.h"
#include "host/provider/node.h"
#include "host/report/failure.h"
#include "host/restore/restore_steps.h"

namespace tarnctl {

// One thread. The caller holds the locks; the steps are the caller's to write.
class OriginAccess {
  public:
    // kNotFound for a provider that is not loaded; else what it said of the recorded state. `providers` is borrowed.
    static Result<OriginAccess> of(const Providers& providers, const DisableUndo& origin);

    // Done when nothing is mounted at the mount point any more, also when nothing was. kBusy, with who uses it, when
    // somebody does; `isForced`: its users are ended, again and again until it is unmounted (at most half a minute).
    // After a failure it may be unmounted all the same: ask isMounted.
    Status disable(bool isForced);
    // Mounts `device`, the origin under the name that it has now, as the origin was mounted; done when it is already.
    // A failure's cause tells what to type. Texts in `warnings`: it is mounted, but not with the same options.
    Status enable(const std::string& device, std::vector<std::string>& warnings);
    // kFailed when the mount table cannot be read.
    Result<bool> isMounted() const;

  private:
    OriginAccess(std::unique_ptr<Node> node, DisableUndo origin) : node_(std::move(node)), origin_(std::move(origin)) {}
    Failure busy(const CallOutcome& outcome);
    Status checkMounted(const std::string& device, std::vector<std::string>& warnings) const;

    std::unique_ptr<Node> node_;
    DisableUndo origin_;
};

// The processes that have something of this file system open, work in it or run from it: "1234 (bash)"; at most `most`.
std::vector<std::string> usersOf(dev_t fileSystem, std::size_t most);

}  // namespace tarnctl
