#include "host/transfer/document_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/freeze/owned_fd.h"
#include "host/report/system_failure.h"
#include "host/transfer/strict_json.h"

namespace tarnctl {
namespace {

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

Result<std::string> readDocument(const std::string& file) {
    constexpr const char* kOperation = "read the document";
    const OwnedFd opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!opened || ::fstat(opened.get(), &status) != 0) {
        return systemFailure(errno == ENOENT ? ExitCode::kNotFound : ExitCode::kFailed, kOperation, file,
                             "it cannot be opened", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure{ExitCode::kUnsupported, kOperation, file, "it is no regular file"};
    }
    std::string text(kLargestDocument + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t got = ::read(opened.get(), text.data() + length, text.size() - length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return systemFailure(ExitCode::kFailed, kOperation, file, "it cannot be read", errno);
        }
        if (got == 0) {
            break;
        }
        length += static_cast<std::size_t>(got);
    }
    text.resize(length);
    return text;
}

Status writeDocument(const std::string& file, const std::string& text) {
    constexpr const char* kOperation = "write the document";
    OwnedFd made(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!made) {
        return systemFailure(errno == EEXIST ? ExitCode::kUnsupported : ExitCode::kFailed, kOperation, file,
                             "it cannot be created", errno);
    }
    if (!writeAll(made.get(), text) || ::fsync(made.get()) != 0) {
        const int error = errno;
        ::unlink(file.c_str());
        return systemFailure(ExitCode::kFailed, kOperation, file, "it cannot be written", error);
    }
    return Done{};
}

}  // namespace tarnctl
