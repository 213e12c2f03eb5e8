// A file descriptor that closes itself and is not inherited by child processes.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

class OpenFile {
  public:
    OpenFile(const std::string& path, int flags)
        : descriptor_(::open(path.c_str(), flags | O_CLOEXEC)), error_(descriptor_ < 0 ? errno : 0) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }

    explicit operator bool() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    // The errno of the failed open.
    int error() const { return error_; }

  private:
    int descriptor_;
    int error_;
};
