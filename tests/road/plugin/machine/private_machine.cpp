#include "private_machine.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "disk.h"
#include "tool.h"

namespace road {
namespace {

std::string& reason() {
    static std::string text;
    return text;
}

void hinder(const std::string& what) {
    reason() = what + ": " + std::strerror(errno);
}

// One more layer on top of the folder, in which `name` is a link to `target`.
bool addLink(const std::string& folder, const std::string& name, const std::string& target) {
    const std::string layer = std::string(kRoot) + "/.layer-" + name;
    if (mkdir(layer.c_str(), 0755) != 0 || symlink(target.c_str(), (layer + "/" + name).c_str()) != 0) {
        return false;
    }
    const std::string options = "lowerdir=" + layer + ":" + folder;
    return mount("tarnfi-test", folder.c_str(), "overlay", MS_RDONLY, options.c_str()) == 0;
}

// Does /etc/mtab show this namespace? It may be missing, or a file that nobody writes.
bool isMountTableLive() {
    std::ifstream table("/etc/mtab");
    const std::string text{std::istreambuf_iterator<char>(table), {}};
    return text.find(std::string(" ") + kRoot + " tmpfs ") != std::string::npos;
}

// On a host with a merged /usr, /sbin is a link.
std::string sbinFolder() {
    struct stat info = {};
    return lstat("/sbin", &info) == 0 && S_ISLNK(info.st_mode) ? "/usr/sbin" : "/sbin";
}

}  // namespace

const std::string& reasonToSkip() {
    return reason();
}

const std::string& ownPrefix() {
    static const std::string prefix = kPrefix + std::to_string(getpid()) + "-";
    return prefix;
}

void enterPrivateMachine() {
    if (geteuid() != 0) {
        reason() = "needs root: it mounts and freezes file systems";
        return;
    }
    if (access("/dev/loop-control", R_OK | W_OK) != 0) {
        return hinder("needs loop devices (/dev/loop-control)");
    }
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return hinder("a mount namespace of its own");
    }
    if (mount("tarnfi-test", kRoot, "tmpfs", 0, "mode=0755") != 0) {
        return hinder(std::string("a file system in memory at ") + kRoot);
    }
    if (!isMountTableLive() && (!addLink("/etc", "mtab", "/proc/self/mounts") || !isMountTableLive())) {
        return hinder("/etc/mtab is missing here and cannot be provided");
    }
    if (access("/sbin/fuser", X_OK) != 0 && access("/usr/bin/fuser", X_OK) == 0) {
        addLink(sbinFolder(), "fuser", "/usr/bin/fuser");
    }
    clearWhatKilledRunsLeft();
}

std::string reasonToSkipFuser() {
    return access("/sbin/fuser", X_OK) == 0 ? "" : "needs fuser";
}

std::string reasonToSkipType(const std::string& type) {
    const std::string maker = "/sbin/mkfs." + type;
    if (access(maker.c_str(), X_OK) != 0) {
        return "needs mkfs." + type;
    }
    std::ifstream table("/proc/filesystems");
    for (std::string word; table >> word;) {
        if (word == type) {
            return "";
        }
    }
    return run("modprobe -q " + type).exitStatus == 0 ? "" : "this kernel has no " + type;
}

}  // namespace road
