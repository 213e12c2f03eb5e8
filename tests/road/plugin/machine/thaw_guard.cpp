#include "thaw_guard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace road {
namespace {

constexpr int kLimit = 30'000;  // milliseconds

// In the child.
[[noreturn]] void thawLate(const std::vector<int>& directories, int end) {
    pollfd watched{end, POLLIN, 0};
    if (poll(&watched, 1, kLimit) != 0) {
        _exit(0);
    }
    for (const int directory : directories) {
        ioctl(directory, FITHAW, 0);
    }
    _exit(1);
}

}  // namespace

ThawGuard::ThawGuard(const std::vector<std::string>& points) : pid_(-1), end_(-1) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    std::vector<int> directories;
    for (const std::string& point : points) {
        directories.push_back(open(point.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    pid_ = fork();
    if (pid_ == 0) {
        close(ends[1]);
        thawLate(directories, ends[0]);
    }
    close(ends[0]);
    for (const int directory : directories) {
        close(directory);
    }
    end_ = ends[1];
}

ThawGuard::~ThawGuard() {
    close(end_);
    int status = -1;
    waitpid(pid_, &status, 0);
    EXPECT_EQ(status, 0) << "the file systems had to be thawed from outside";
}

}  // namespace road
