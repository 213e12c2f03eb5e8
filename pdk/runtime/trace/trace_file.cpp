#include "trace/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace znfi_runtime {
namespace {

// 0, or why lines must not go there: a name that somebody else placed could lead them anywhere.
int refusal(int descriptor) noexcept {
    struct stat entry {};
    if (fstat(descriptor, &entry) != 0) {
        return errno;
    }
    if (S_ISREG(entry.st_mode)) {
        return entry.st_nlink > 1 ? EMLINK : 0;
    }
    return S_ISCHR(entry.st_mode) ? 0 : EINVAL;
}

}  // namespace

TraceFile::~TraceFile() {
    use(-1);
}

int TraceFile::open(const char* path) noexcept {
    if (path == nullptr) {
        use(-1);
        return 0;
    }
    // Not blocking: a FIFO without a reader would hold the caller up before it is refused.
    const int descriptor =
        ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return errno;
    }
    if (const int error = refusal(descriptor)) {
        close(descriptor);
        return error;
    }
    use(descriptor);
    return 0;
}

void TraceFile::append(std::string_view bytes) const noexcept {
    const int target = descriptor_ < 0 ? STDERR_FILENO : descriptor_;
    while (!bytes.empty()) {
        const ssize_t written = write(target, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
}

void TraceFile::use(int descriptor) noexcept {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
    descriptor_ = descriptor;
}

}  // namespace znfi_runtime
