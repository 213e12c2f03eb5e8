#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "host/mounts/preflight.h"

namespace tarnctl {
namespace {

Failure objectionTo(const std::string& point, ExitCode code, std::string cause) {
    return Failure{code, "check the mount point", point, std::move(cause)};
}

// Why nothing of that name is in the table, as helpful as can be said.
Failure notInTable(const MountTable& table, const std::string& path) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    if (error) {
        return objectionTo(path, ExitCode::kNotFound, "is no mount point: " + error.message());
    }
    const MountEntry* reached = table.reachedBy(real.native());
    if (reached == nullptr || reached->point == "/") {
        return objectionTo(path, ExitCode::kNotFound, "is no mount point");
    }
    return objectionTo(path, ExitCode::kNotFound, "is no mount point; it lies in the one named " + reached->point);
}

}  // namespace

Result<MountEntry> checkMountPoint(const MountTable& table, std::string_view path,
                                   const std::vector<std::string>& types) {
    const std::string point = withoutTrailingSlashes(path);
    if (Status status = checkName(NameKind::kMountPoint, point); !status) {
        return status.failure();
    }
    if (point == "/") {
        return objectionTo(point, ExitCode::kUnsupported,
                           "the root file system is never frozen: it holds this program");
    }
    const std::vector<const MountEntry*> all = table.allAt(point);
    if (all.empty()) {
        return notInTable(table, point);
    }
    if (all.size() > 1) {
        return objectionTo(point, ExitCode::kUnsupported,
                           fmt::format("{} mounts lie on it, one over the other: unmount all but one", all.size()));
    }
    const MountEntry& entry = *all.front();
    if (const MountEntry* cover = table.covering(entry)) {
        return objectionTo(point, ExitCode::kUnsupported, "is hidden by the mount on " + cover->point);
    }
    if (entry.root != "/") {
        return objectionTo(point, ExitCode::kUnsupported,
                           "shows only " + entry.root + " of its file system: name where the whole of it is mounted");
    }
    if (!types.empty() && std::find(types.begin(), types.end(), entry.type) == types.end()) {
        return objectionTo(point, ExitCode::kUnsupported, "no provider takes a file system of type " + entry.type);
    }
    if (Status status = checkName(NameKind::kDevice, entry.source); !status) {
        return status.failure();
    }
    return entry;
}

}  // namespace tarnctl
