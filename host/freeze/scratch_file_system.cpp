#include "host/freeze/scratch_file_system.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "host/freeze/fs_freeze.h"
#include "host/freeze/held_directory.h"
#include "host/freeze/owned_fd.h"

extern char** environ;

namespace tarnctl {
namespace {

constexpr off_t kImageSize = off_t{320} * 1024 * 1024;

void must(bool isDone, const std::string& step) {
    if (!isDone) {
        throw std::runtime_error("scratch file system: " + step);
    }
}

void makeImage(const std::string& path) {
    const OwnedFd image(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    must(image && ftruncate(image.get(), kImageSize) == 0, "make the image " + path);
}

}  // namespace

int runCommand(const std::vector<std::string>& words, std::string* output) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return -1;
    }
    const OwnedFd readEnd(ends[0]);
    OwnedFd writeEnd(ends[1]);
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    writeEnd.close();
    if (error != 0) {
        return -1;
    }
    std::array<char, 4096> chunk{};
    for (ssize_t got = 0; (got = read(readEnd.get(), chunk.data(), chunk.size())) > 0;) {
        if (output != nullptr) {
            output->append(chunk.data(), static_cast<std::size_t>(got));
        }
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string ScratchFileSystem::reasonToSkip() {
    if (geteuid() != 0) {
        return "needs root: it mounts and freezes a file system";
    }
    if (access("/dev/loop-control", R_OK | W_OK) != 0) {
        return "needs loop devices (/dev/loop-control)";
    }
    if (access("/usr/sbin/mkfs.xfs", X_OK) != 0 && access("/sbin/mkfs.xfs", X_OK) != 0) {
        return "needs mkfs.xfs (xfsprogs)";
    }
    static const bool isPrivate =
        unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return isPrivate ? "" : "needs a private mount namespace";
}

ScratchFileSystem::ScratchFileSystem(const std::string& type) {
    std::string pattern = "/var/tmp/tarnfi-test-XXXXXX";
    must(mkdtemp(pattern.data()) != nullptr, "make a folder");
    folder_ = pattern;
    const std::string image = folder_ + "/image";
    try {
        makeImage(image);
        must(runCommand({"mkfs." + type, "-q", image}) == 0, "mkfs." + type);
        const std::string mountPoint = folder_ + "/mnt";
        must(mkdir(mountPoint.c_str(), 0755) == 0, "make the mount point");
        std::string device;
        must(runCommand({"losetup", "--find", "--show", image}, &device) == 0, "losetup");
        device.pop_back();
        const bool isMounted = mount(device.c_str(), mountPoint.c_str(), type.c_str(), 0, nullptr) == 0;
        // On a busy device this only marks it to be detached with its last user.
        runCommand({"losetup", "--detach", device});
        must(isMounted, "mount " + device);
        mountPoint_ = mountPoint;
    } catch (...) {
        tearDown();
        throw;
    }
}

void ScratchFileSystem::tearDown() noexcept {
    if (!mountPoint_.empty()) {
        if (auto directory = HeldDirectory::open(mountPoint_)) {
            thawFs(directory->fd());
        }
        for (int tries = 0; umount(mountPoint_.c_str()) != 0 && errno == EBUSY && tries < 100; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        mountPoint_.clear();
    }
    if (!folder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        folder_.clear();
    }
}

}  // namespace tarnctl
