#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>

#include "host/mounts/backing_chain.h"
#include "host/mounts/preflight.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOperation = "check that nothing of ours is frozen";

// The file system that holds `path`, or that would hold it once it is made.
Result<dev_t> deviceOf(const OwnPath& own) {
    if (own.device != 0) {
        return own.device;
    }
    for (fs::path path = own.path;; path = path.parent_path()) {
        struct stat status {};
        if (stat(path.c_str(), &status) == 0) {
            return status.st_dev;
        }
        const bool canClimb = (errno == ENOENT || errno == ENOTDIR) && path.has_relative_path();
        if (!canClimb) {
            return systemFailure(ExitCode::kFailed, kOperation, own.path, "cannot tell where " + own.what + " lies",
                                 errno);
        }
    }
}

class FrozenCheck {
  public:
    FrozenCheck(const MountTable& table, const std::vector<MountEntry>& frozen, const std::string& sysfs)
        : table_(table), frozen_(frozen), sysfs_(sysfs) {}

    Status check(const OwnPath& own) {
        const Result<dev_t> device = deviceOf(own);
        if (!device) {
            return device.failure();
        }
        if (const MountEntry* hit = frozenWith(*device)) {
            return Failure{ExitCode::kUnsupported, kOperation, own.path,
                           own.what + " lies on " + hit->point + ", which would be frozen"};
        }
        const Result<std::vector<BackingFile>>& chain = chainOf(*device);
        if (!chain) {
            return chain.failure();
        }
        for (const BackingFile& image : *chain) {
            if (const MountEntry* hit = frozenWith(image.holder)) {
                return Failure{
                    ExitCode::kUnsupported, kOperation, own.path,
                    own.what + " lies in the image " + image.file + " on " + hit->point + ", which would be frozen"};
            }
        }
        return Done{};
    }

  private:
    const MountEntry* frozenWith(dev_t device) const {
        const auto found = std::find_if(frozen_.begin(), frozen_.end(),
                                        [device](const MountEntry& entry) { return entry.device == device; });
        return found != frozen_.end() ? &*found : nullptr;
    }

    const Result<std::vector<BackingFile>>& chainOf(dev_t device) {
        const auto known = chains_.find(device);
        if (known != chains_.end()) {
            return known->second;
        }
        const std::vector<const MountEntry*> mounts = table_.ofDevice(device);
        const dev_t block = mounts.empty() ? device : blockDeviceOf(*mounts.front());
        return chains_.emplace(device, backingChain(block, table_, sysfs_)).first->second;
    }

    const MountTable& table_;
    const std::vector<MountEntry>& frozen_;
    const std::string& sysfs_;
    std::map<dev_t, Result<std::vector<BackingFile>>> chains_;
};

}  // namespace

Status refuseOwnOnFrozen(const MountTable& table, const std::vector<MountEntry>& frozen,
                         const std::vector<OwnPath>& paths, const std::string& sysfs) {
    FrozenCheck frozenCheck(table, frozen, sysfs);
    for (const OwnPath& own : paths) {
        if (Status status = frozenCheck.check(own); !status) {
            return status;
        }
    }
    return Done{};
}

}  // namespace tarnctl
