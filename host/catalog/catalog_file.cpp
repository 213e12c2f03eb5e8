#include "host/catalog/catalog_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOperation = "open the catalog";

Status systemRefused(const std::string& subject, std::string_view what) {
    return systemFailure(ExitCode::kFailed, kOperation, subject, what, errno);
}

Status checkOwner(const std::string& path, mode_t kind) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return systemRefused(path, "cannot look at it");
    }
    if ((status.st_mode & S_IFMT) != kind) {
        return Failure{ExitCode::kUnsupported, std::string(kOperation), path,
                       kind == S_IFDIR ? "is no directory" : "is no regular file"};
    }
    const bool isOwn = status.st_uid == geteuid() || status.st_uid == 0;
    if (!isOwn || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Failure{ExitCode::kUnsupported, std::string(kOperation), path,
                       "others may write to it, and what is written there is undone with all rights"};
    }
    return Done{};
}

Status syncFolder(const std::string& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return systemRefused(folder, "cannot open it");
    }
    const Status status = fsync(descriptor) == 0 ? Status(Done{}) : systemRefused(folder, "cannot sync it");
    close(descriptor);
    return status;
}

bool mayDo(const fs::path& path, int what) {
    return faccessat(AT_FDCWD, path.c_str(), what, AT_EACCESS) == 0;
}

// The first folder on the way that may not be looked into; what is not there is no folder.
std::optional<fs::path> closedOnTheWayTo(const fs::path& folder) {
    fs::path walked;
    for (const fs::path& part : folder) {
        walked /= part;
        if (!mayDo(walked / ".", F_OK) && errno == EACCES) {  // of a file that is: "Not a directory"
            return walked;
        }
    }
    return std::nullopt;
}

Status notPermitted(const fs::path& folder, const std::string& what) {
    return Failure{ExitCode::kFailed, std::string(kOperation), folder.native(),
                   fmt::format("user {} may not {}", geteuid(), what)};
}

Status makeFolder(const fs::path& folder) {
    if (const auto closed = closedOnTheWayTo(folder)) {
        return notPermitted(*closed, "look into this folder");
    }
    if (mkdir(folder.c_str(), S_IRWXU) == 0) {
        return syncFolder(folder.has_relative_path() ? folder.parent_path() : folder);
    }
    if (errno == EEXIST) {
        return Done{};
    }
    return errno == EACCES ? notPermitted(folder.parent_path(), "make a folder in this one")
                           : systemRefused(folder, "cannot create the folder");
}

// The file and, as long as it is open, two others beside it.
Status checkRights(const fs::path& folder, const std::string& file) {
    if (!mayDo(folder, W_OK) && errno == EACCES) {
        return notPermitted(folder, "write to this folder");
    }
    if (!mayDo(file, R_OK | W_OK) && errno == EACCES) {
        return notPermitted(file, "read and write this file");
    }
    return Done{};
}

Status makeFile(const std::string& file, const std::string& folder) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return errno == EEXIST ? Status(Done{}) : systemRefused(file, "cannot create it");
    }
    close(descriptor);
    return syncFolder(folder);
}

}  // namespace

Result<std::string> prepareCatalogFile(const std::string& file) {
    std::error_code error;
    const fs::path absolute = fs::absolute(file, error);
    if (error || !absolute.has_filename()) {
        return Failure{ExitCode::kUsage, std::string(kOperation), file, "is no name of a file"};
    }
    if (Status status = makeFolder(absolute.parent_path()); !status) {
        return status.failure();
    }
    const fs::path folder = fs::canonical(absolute.parent_path(), error);
    if (error) {
        return Failure{ExitCode::kFailed, std::string(kOperation), absolute.parent_path(), error.message()};
    }
    if (Status status = checkOwner(folder, S_IFDIR); !status) {
        return status.failure();
    }
    const std::string real = folder / absolute.filename();
    if (Status status = checkRights(folder, real); !status) {
        return status.failure();
    }
    if (Status status = makeFile(real, folder); !status) {
        return status.failure();
    }
    if (Status status = checkOwner(real, S_IFREG); !status) {
        return status.failure();
    }
    return real;
}

}  // namespace tarnctl
