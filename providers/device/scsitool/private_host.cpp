#include "private_host.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

namespace {

std::string problem(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

bool writeTo(const char* path, const std::string& text) {
    std::ofstream file(path);
    return static_cast<bool>(file << text << std::flush);
}

std::string unshareAll() {
    if (unshare(CLONE_NEWIPC | CLONE_NEWNS) == 0) {
        return {};
    }
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWIPC | CLONE_NEWNS) != 0) {
        return problem("no private namespaces");
    }
    const bool isMapped = writeTo("/proc/self/setgroups", "deny") &&
                          writeTo("/proc/self/uid_map", "0 " + user + " 1") &&
                          writeTo("/proc/self/gid_map", "0 " + group + " 1");
    return isMapped ? std::string() : problem("no user mapping");
}

std::string enter() {
    std::string why = unshareAll();
    if (why.empty() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        why = problem("no private mounts");
    }
    for (const char* tool : {"/sbin/multipath", "/usr/bin/udevadm"}) {
        if (why.empty() && access(tool, F_OK) == 0 && mount("/dev/null", tool, nullptr, MS_BIND, nullptr) != 0) {
            why = problem(tool);
        }
    }
    return why;
}

}  // namespace

const std::string& enterPrivateHost() {
    static const std::string why = enter();
    return why;
}

std::string overlaySbin(const std::string& folder) {
    const std::string layers = "lowerdir=" + folder + ":/usr/sbin";
    const bool isDone =
        unshare(CLONE_NEWNS) == 0 && mount("overlay", "/usr/sbin", "overlay", MS_RDONLY, layers.c_str()) == 0;
    return isDone ? std::string() : problem("no overlay");
}
