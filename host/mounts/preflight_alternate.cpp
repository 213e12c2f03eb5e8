#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/mounts/preflight.h"
#include "host/mounts/preflight_way.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

constexpr int kMostCandidates = 90;
constexpr std::string_view kOperation = "check the alternate name";

Failure objectionTo(const std::string& name, ExitCode code, std::string cause) {
    return Failure{code, std::string(kOperation), name, std::move(cause)};
}

// Whether an empty directory is there; a failure for anything else that is.
Result<bool> checkPlace(const std::string& name) {
    struct stat status {};
    if (lstat(name.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return false;
        }
        return objectionTo(name, ExitCode::kFailed, systemErrorText(errno));
    }
    if (S_ISLNK(status.st_mode)) {
        return objectionTo(name, ExitCode::kUnsupported, "is a symbolic link");
    }
    if (!S_ISDIR(status.st_mode)) {
        return objectionTo(name, ExitCode::kUnsupported, "is there and no directory");
    }
    std::error_code error;
    const bool isEmpty = fs::is_empty(name, error);
    if (error) {
        return objectionTo(name, ExitCode::kFailed, error.message());
    }
    if (!isEmpty) {
        return objectionTo(name, ExitCode::kUnsupported, "is a directory with something in it, which would be hidden");
    }
    return true;
}

bool isPlainPath(const std::string& name) {
    const fs::path path(name);
    return path.lexically_normal() == path && path.has_filename() && name.find("//") == std::string::npos;
}

}  // namespace

Result<AlternateName> deriveAlternate(const MountTable& table, const std::string& mountPoint) {
    const std::string base = withoutTrailingSlashes(mountPoint) + "_alt";
    std::string candidate = base;
    for (int taken = 0; taken < kMostCandidates; ++taken) {
        if (table.allAt(candidate).empty()) {
            return checkAlternate(table, candidate);
        }
        candidate = base + std::to_string(taken);
    }
    return objectionTo(base, ExitCode::kBusy, "90 snapshots of this file system are mounted already: delete some");
}

Result<AlternateName> checkAlternate(const MountTable& table, std::string_view requested) {
    const std::string name = withoutTrailingSlashes(requested);
    if (Status status = checkName(NameKind::kAlternate, name); !status) {
        return status.failure();
    }
    if (!isPlainPath(name) || name == "/") {
        return objectionTo(name, ExitCode::kUnsupported, "must be a plain path, without \".\", \"..\" and \"//\"");
    }
    if (!table.allAt(name).empty()) {
        return objectionTo(name, ExitCode::kBusy, "is a mount point already");
    }
    if (Status status = checkWay(std::string(kOperation), name); !status) {
        return status.failure();
    }
    const Result<bool> existed = checkPlace(name);
    if (!existed) {
        return existed.failure();
    }
    return AlternateName{name, *existed};
}

}  // namespace tarnctl
