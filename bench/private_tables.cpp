#include "private_tables.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace {

constexpr const char* kKernelTable = "/proc/self/mounts";

void must(bool isDone, const std::string& step) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), step);
    }
}

void writeText(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    must(file.good(), path);
}

void enterNamespace() {
    if (::geteuid() == 0) {
        must(::unshare(CLONE_NEWNS) == 0, "a private mount namespace");
    } else {
        const std::string user = fmt::format("0 {} 1", ::geteuid());
        const std::string group = fmt::format("0 {} 1", ::getegid());
        must(::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "a private user and mount namespace");
        writeText("/proc/self/setgroups", "deny");
        writeText("/proc/self/uid_map", user);
        writeText("/proc/self/gid_map", group);
    }
    must(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
}

}  // namespace

PrivateTables::PrivateTables() {
    enterNamespace();
    std::string pattern = "/tmp/tarnfi-bench-XXXXXX";
    must(::mkdtemp(pattern.data()) != nullptr, "a folder");
    root_ = pattern;
    must(::mount("tarnfi-bench", root_.c_str(), "tmpfs", MS_NOSUID, "mode=0755") == 0, "a tmpfs");
    const std::string above = root_ + "/etc";
    must(::mkdir(above.c_str(), 0755) == 0 && ::mkdir((root_ + "/mounts").c_str(), 0755) == 0, "folders");
    must(::symlink((root_ + "/shown").c_str(), (above + "/mtab").c_str()) == 0, "a link");
    const std::string layers = "lowerdir=" + above + ":/etc";
    must(::mount("tarnfi-bench", "/etc", "overlay", MS_RDONLY, layers.c_str()) == 0, "an overlay over /etc");
    showKernelTable();
}

PrivateTables::~PrivateTables() {
    ::umount2("/etc", MNT_DETACH);
    ::umount2(root_.c_str(), MNT_DETACH);
    ::rmdir(root_.c_str());
}

void PrivateTables::show(const std::string& target) {
    const std::string next = root_ + "/next";
    must(::symlink(target.c_str(), next.c_str()) == 0 && ::rename(next.c_str(), (root_ + "/shown").c_str()) == 0,
         "show a table");
}

void PrivateTables::showFile(int entries, const std::string& mountPoint, const std::string& options) {
    const std::string path = root_ + "/table";
    {
        std::ofstream table(path);
        for (int entry = 1; entry < entries; ++entry) {
            table << fmt::format(
                "/dev/mapper/data-volume{0:06} /srv/volumes/volume{0:06} xfs "
                "rw,nosuid,nodev,relatime,attr2,inode64,logbufs=8,logbsize=32k,noquota 0 0\n",
                entry);
        }
        table << fmt::format("/dev/mapper/data-wanted {} xfs {} 0 0\n", mountPoint, options) << std::flush;
        must(table.good(), "write a table");
    }
    show(path);
}

void PrivateTables::showKernelTable() {
    show(kKernelTable);
}

std::string PrivateTables::mountUntil(int entries) {
    std::ifstream table(kKernelTable);
    const auto present = std::count(std::istreambuf_iterator<char>(table), {}, '\n');
    std::string point;
    for (auto entry = std::min<long>(present, entries - 1); entry < entries; ++entry) {
        point = fmt::format("{}/mounts/volume{:06}", root_, entry);
        must(::mkdir(point.c_str(), 0755) == 0 && ::mount("tarnfi-bench", point.c_str(), "tmpfs", 0, "size=4k") == 0,
             "mount " + point);
    }
    return point;
}
