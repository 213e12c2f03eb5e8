#include "kernel_freeze.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace road {
namespace {

int ask(const std::string& mountPoint, unsigned long request) {
    const int directory = open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) {
        return errno;
    }
    const int error = ioctl(directory, request, 0) == 0 ? 0 : errno;
    close(directory);
    return error;
}

}  // namespace

int freeze(const std::string& mountPoint) {
    return ask(mountPoint, FIFREEZE);
}

int thaw(const std::string& mountPoint) {
    return ask(mountPoint, FITHAW);
}

}  // namespace road
