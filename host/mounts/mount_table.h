// The mount table as the kernel gives it to this process, read once and then unchanging.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/failure.h"

namespace tarnctl {

// One mount. All texts are decoded: no octal escapes are left in them.
struct MountEntry {
    int id = 0;
    int parentId = 0;
    dev_t device = 0;          // of the superblock: what stat says of its files, except on btrfs
    std::string root;          // what of the file system is mounted: "/", or a directory of a bind mount or subvolume
    std::string point;         // absolute
    std::string type;          // "ext4", "fuse.sshfs"
    std::string source;        // device path, "host:/export", or what the file system calls itself; may be empty
    std::string options;       // of the mount, as the kernel lists them: "ro,nosuid,relatime"
    std::string superOptions;  // of the file system
    std::string propagation;   // "shared:1 master:2": to and from which other mounts it spreads; may be empty
    bool isReadOnly = false;   // the mount or its file system
    bool noSuid = false;
    bool noDev = false;
    bool noExec = false;
};

// "8:17", as the kernel writes it in sysfs and in the mount table.
std::string deviceNumberText(dev_t device);

// A snapshot of the table. Pointers that its members give away live as long as the table; moving it keeps them valid.
// Reading from several threads is safe.
class MountTable {
  public:
    // Reads this process's mount table. Fails (kFailed) where it cannot be read or holds a line that cannot be parsed.
    static Result<MountTable> read();
    // Reads a file of the same form.
    static Result<MountTable> readFrom(const std::string& file);

    MountTable(MountTable&&) = default;
    MountTable& operator=(MountTable&&) = default;
    MountTable(const MountTable&) = delete;
    MountTable& operator=(const MountTable&) = delete;

    // In the order of the file: oldest first.
    const std::vector<MountEntry>& entries() const { return entries_; }

    // All mounts whose point is exactly `point`, oldest first; hidden ones too.
    std::vector<const MountEntry*> allAt(std::string_view point) const;
    // The mount that opening `path` reaches, whether or not something exists there; `path` must be absolute and
    // without symbolic links, "." and "..". Null only for a table without "/".
    const MountEntry* reachedBy(std::string_view path) const;
    // The mount that is seen at exactly `point`; null when nothing is mounted there or all of it is hidden.
    const MountEntry* visibleAt(std::string_view point) const;
    // All mounts of a file system, oldest first.
    std::vector<const MountEntry*> ofDevice(dev_t device) const;
    const MountEntry* withId(int id) const;
    // The mount that lies over this one, so that its root cannot be reached by its path: one mounted on the same point
    // or on a directory above it. Null when it can be reached.
    const MountEntry* covering(const MountEntry& entry) const;

  private:
    MountTable() = default;
    void index();
    std::size_t climb(std::size_t entry, std::string_view point) const;

    std::vector<MountEntry> entries_;
    std::map<int, std::size_t> byId_;
    std::map<std::pair<int, std::string>, std::size_t> childAt_;  // (parent id, point): the newest such mount
    std::size_t root_ = 0;
};

}  // namespace tarnctl
