// A file descriptor with one owner. Not thread-safe; closing errors are ignored (nothing is written through these).
#pragma once

#include <unistd.h>

#include <utility>

namespace tarnctl {

class OwnedFd {
  public:
    OwnedFd() = default;
    explicit OwnedFd(int fd) : fd_(fd) {}
    OwnedFd(OwnedFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OwnedFd& operator=(OwnedFd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    OwnedFd(const OwnedFd&) = delete;
    OwnedFd& operator=(const OwnedFd&) = delete;
    ~OwnedFd() { close(); }

    void close() {
        if (fd_ >= 0) {
            ::close(std::exchange(fd_, -1));
        }
    }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

}  // namespace tarnctl
