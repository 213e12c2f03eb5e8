#include "host/restore/origin_checks.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "host/device/loop_files.h"
#include "host/freeze/fs_freeze.h"
#include "host/freeze/held_directory.h"
#include "host/guard/freeze_guard.h"
#include "host/mounts/device_users.h"
#include "host/mounts/own_paths.h"
#include "host/mounts/preflight.h"
#include "host/restore/origin_access.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "check that the origin can be unmounted";
constexpr const char* kFuser = "/sbin/fuser";

Failure objection(const MountEntry& origin, ExitCode code, std::string cause) {
    return {code, kOperation, origin.point, std::move(cause)};
}

bool liesOn(const std::string& path, const MountEntry& origin) {
    struct stat status {};
    return !path.empty() && ::stat(path.c_str(), &status) == 0 && status.st_dev == origin.device;
}

Status refuseMountsBelow(const MountTable& table, const MountEntry& origin) {
    for (const MountEntry& mount : table.entries()) {
        if (mount.parentId == origin.id) {
            return objection(origin, ExitCode::kBusy, mount.point + " is mounted below it");
        }
    }
    return Done{};
}

// Of "lowerdir=/a:/b,upperdir=/c,workdir=/d".
std::vector<std::string> layersOf(const MountEntry& overlay) {
    std::vector<std::string> layers;
    std::istringstream options(overlay.superOptions);
    for (std::string option; std::getline(options, option, ',');) {
        const std::size_t equals = option.find('=');
        if (equals == std::string::npos || option.substr(0, equals).find("dir") == std::string::npos) {
            continue;
        }
        std::istringstream paths(option.substr(equals + 1));
        for (std::string path; std::getline(paths, path, ':');) {
            layers.push_back(path);
        }
    }
    return layers;
}

// Layers are held by mounts that no table shows, so the unmount would succeed and the device stay in use.
Status refuseOverlays(const MountTable& table, const MountEntry& origin) {
    for (const MountEntry& mount : table.entries()) {
        for (const std::string& layer : mount.type == "overlay" ? layersOf(mount) : std::vector<std::string>()) {
            if (liesOn(layer, origin)) {
                return objection(origin, ExitCode::kBusy,
                                 "the overlay at " + mount.point + " has its layer " + layer + " on it");
            }
        }
    }
    return Done{};
}

Status refuseImages(const MountEntry& origin) {
    for (const LoopFile& loop : loopFiles()) {
        if (loop.holder == origin.device) {
            return objection(origin, ExitCode::kBusy, "the image of " + loop.name + " lies on it");
        }
    }
    return Done{};
}

Status refuseSwap(const MountEntry& origin) {
    std::ifstream swaps("/proc/swaps");
    std::string line;
    std::getline(swaps, line);  // the heading
    while (std::getline(swaps, line)) {
        const std::string file = line.substr(0, line.find(' '));
        if (liesOn(file, origin)) {
            return objection(origin, ExitCode::kBusy, "there is swapped to " + file + " on it");
        }
    }
    return Done{};
}

Status refuseExports(const MountEntry& origin) {
    std::ifstream exports("/proc/fs/nfsd/exports");
    for (std::string line; std::getline(exports, line);) {
        const std::string path = line.substr(0, line.find_first_of("\t ("));
        if (path.starts_with('/') && liesOn(path, origin)) {
            return objection(origin, ExitCode::kBusy, path + " on it is exported by NFS");
        }
    }
    return Done{};
}

Status refuseOwn(const MountEntry& origin, const Catalog& catalog) {
    std::vector<OwnPath> paths;
    for (const std::string& file : catalog.files()) {
        paths.push_back({"the catalog", file});
    }
    if (const char* trace = std::getenv("ZFI_TRACE_FILE"); trace != nullptr) {
        paths.push_back({"the trace file", trace});
    }
    for (const char* program : {"/bin/mount", "/bin/umount", kFuser}) {
        paths.push_back({"a command that is needed", program});
    }
    for (OwnPath& own : ownPaths()) {
        paths.push_back(std::move(own));
    }
    for (const OwnPath& own : paths) {
        if (own.device == origin.device || liesOn(own.path, origin)) {
            return objection(origin, ExitCode::kUnsupported, own.what + " lies on it: " + own.path);
        }
    }
    return Done{};
}

// The shell that we were typed into, and whoever started that.
std::vector<std::string> ancestors() {
    std::vector<std::string> found;
    std::string pid = std::to_string(::getppid());
    while (pid != "0" && found.size() < 1000) {
        found.push_back(pid);
        std::ifstream file("/proc/" + pid + "/status");
        pid = "0";
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("PPid:")) {
                pid = line.substr(line.find_last_of("\t ") + 1);
            }
        }
    }
    return found;
}

Status refuseAncestors(const MountEntry& origin) {
    const std::vector<std::string> above = ancestors();
    for (const std::string& user : usersOf(origin.device, SIZE_MAX)) {
        const std::string pid = user.substr(0, user.find(' '));
        if (std::find(above.begin(), above.end(), pid) != above.end()) {
            return objection(origin, ExitCode::kUnsupported,
                             "process " + user + ", from which this one was started, uses it: leave it first");
        }
    }
    return Done{};
}

Status refuseFrozen(const MountEntry& origin) {
    auto directory = HeldDirectory::open(origin.point);
    if (!directory) {
        return directory.failure();
    }
    // Where it is not frozen the proof freezes it for an instant: somebody has to thaw it if we die in there.
    GuardLimits limits;
    limits.by = FreezeBy::kHost;
    auto guard = FreezeGuard::arm(*directory, limits);
    if (!guard) {
        return guard.failure();
    }
    if (Status announced = guard->announceFreezing(); !announced) {
        return announced;
    }
    const FrozenProof proof = isFrozen(directory->fd()).proof;
    if (Status released = guard->release(); !released) {
        return released;
    }
    switch (proof) {
        case FrozenProof::kFrozen:
            return objection(origin, ExitCode::kBusy, "somebody has frozen it");
        case FrozenProof::kLeftFrozen:
            return objection(origin, ExitCode::kMayBeFrozen,
                             "it may still be frozen. Thaw it with: " + thawCommand(origin.point, origin.type));
        case FrozenProof::kNotFrozen:
        case FrozenProof::kUnknown:
            break;
    }
    return Done{};
}

Status refuseOptions(const MountEntry& origin) {
    for (const std::string& options : {origin.options, origin.superOptions}) {
        if (options.find_first_of(" \t\n\"") != std::string::npos) {
            return objection(origin, ExitCode::kUnsupported,
                             "a command would split its options, so that it could not be mounted again: " + options);
        }
    }
    return Done{};
}

}  // namespace

Status refuseUnmountable(const MountTable& table, const MountEntry& origin, const Catalog& catalog, bool isForced) {
    for (const Status& refused :
         {refuseOptions(origin), refuseOwn(origin, catalog), refuseMountsBelow(table, origin),
          refuseOverlays(table, origin), refuseImages(origin), refuseSwap(origin), refuseExports(origin)}) {
        if (!refused) {
            return refused;
        }
    }
    if (Status alone = refuseOtherUsers(origin.source, origin.point); !alone) {
        alone.failure().operation = kOperation;
        return alone;
    }
    if (Status refused = isForced ? refuseAncestors(origin) : Status(Done{}); !refused) {
        return refused;
    }
    return refuseFrozen(origin);
}

Status refuseWithoutFuser() {
    if (::access(kFuser, X_OK) == 0) {
        return Done{};
    }
    return Failure{ExitCode::kUnsupported, "look for the command that ends users", kFuser,
                   "it is not there, and --force needs it. The Debian package psmisc brings /usr/bin/fuser; the "
                   "installation of this program, or \"ln -s /usr/bin/fuser /sbin/fuser\", gives it that name"};
}

}  // namespace tarnctl
