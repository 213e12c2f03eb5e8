#include "host/mounts/preflight_way.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

enum class Place { kParent, kFurtherUp };

struct Objection {
    ExitCode code = ExitCode::kDone;  // done: none
    std::string cause;
};

Objection objectionTo(const fs::path& folder, Place place) {
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0) {
        return {errno == ENOENT ? ExitCode::kNotFound : ExitCode::kFailed,
                "its folder " + folder.native() + ": " + systemErrorText(errno)};
    }
    if (!S_ISDIR(status.st_mode)) {
        return {ExitCode::kUnsupported, folder.native() + " on its way is a symbolic link or no directory"};
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        return {ExitCode::kUnsupported, folder.native() + " on its way belongs to another user, who could exchange it"};
    }
    const bool othersWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool isSticky = (status.st_mode & S_ISVTX) != 0;
    if (othersWrite && (place == Place::kParent || !isSticky)) {
        return {ExitCode::kUnsupported, "others may write to " + folder.native() + " on its way and could exchange it"};
    }
    return {};
}

}  // namespace

Status checkWay(const std::string& operation, const std::string& name) {
    fs::path folder = fs::path(name).parent_path();
    Place place = Place::kParent;
    for (;;) {
        if (Objection objection = objectionTo(folder, place); objection.code != ExitCode::kDone) {
            return Failure{objection.code, operation, name, std::move(objection.cause)};
        }
        if (folder == folder.root_path()) {
            return Done{};
        }
        folder = folder.parent_path();
        place = Place::kFurtherUp;
    }
}

}  // namespace tarnctl
