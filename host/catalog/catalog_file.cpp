#include "host/catalog/catalog_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

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

Status makeFolder(const fs::path& folder) {
    if (mkdir(folder.c_str(), S_IRWXU) == 0) {
        return syncFolder(folder.has_relative_path() ? folder.parent_path() : folder);
    }
    return errno == EEXIST ? Status(Done{}) : systemRefused(folder, "cannot create the folder");
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
    if (Status status = makeFile(real, folder); !status) {
        return status.failure();
    }
    if (Status status = checkOwner(real, S_IFREG); !status) {
        return status.failure();
    }
    return real;
}

}  // namespace tarnctl
