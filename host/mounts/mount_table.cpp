#include "host/mounts/mount_table.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <libmount.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

constexpr const char* kOwnTable = "/proc/self/mountinfo";
constexpr std::string_view kOperation = "read the mount table";

struct TableRelease {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct IteratorRelease {
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::string textOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

bool hasOption(std::string_view options, std::string_view name) {
    while (!options.empty()) {
        const std::size_t end = std::min(options.find(','), options.size());
        if (options.substr(0, end) == name) {
            return true;
        }
        options.remove_prefix(std::min(end + 1, options.size()));
    }
    return false;
}

MountEntry entryOf(libmnt_fs* fs) {
    MountEntry entry;
    entry.id = mnt_fs_get_id(fs);
    entry.parentId = mnt_fs_get_parent_id(fs);
    entry.device = mnt_fs_get_devno(fs);
    entry.root = textOrEmpty(mnt_fs_get_root(fs));
    entry.point = textOrEmpty(mnt_fs_get_target(fs));
    entry.type = textOrEmpty(mnt_fs_get_fstype(fs));
    entry.source = textOrEmpty(mnt_fs_get_source(fs));
    entry.options = textOrEmpty(mnt_fs_get_vfs_options(fs));
    entry.superOptions = textOrEmpty(mnt_fs_get_fs_options(fs));
    entry.propagation = textOrEmpty(mnt_fs_get_optional_fields(fs));
    entry.isReadOnly = hasOption(entry.options, "ro") || hasOption(entry.superOptions, "ro");
    entry.noSuid = hasOption(entry.options, "nosuid");
    entry.noDev = hasOption(entry.options, "nodev");
    entry.noExec = hasOption(entry.options, "noexec");
    return entry;
}

// Stops the parser: a table with an entry left out could hide the mount that covers ours.
int refuseLine(libmnt_table*, const char*, int) {
    return -EINVAL;
}

Status parse(libmnt_table& table, const std::string& file) {
    // The library answers an empty table for some files it cannot open.
    if (access(file.c_str(), R_OK) != 0) {
        return systemFailure(ExitCode::kFailed, kOperation, file, "cannot be read", errno);
    }
    mnt_table_set_parser_errcb(&table, refuseLine);
    const int code = mnt_table_parse_file(&table, file.c_str());
    if (code != 0) {
        return systemFailure(ExitCode::kFailed, kOperation, file, "cannot be parsed", code < 0 ? -code : EINVAL);
    }
    return Done{};
}

}  // namespace

std::string deviceNumberText(dev_t device) {
    return fmt::format("{}:{}", major(device), minor(device));
}

Result<MountTable> MountTable::read() {
    return readFrom(kOwnTable);
}

Result<MountTable> MountTable::readFrom(const std::string& file) {
    const std::unique_ptr<libmnt_table, TableRelease> parsed(mnt_new_table());
    const std::unique_ptr<libmnt_iter, IteratorRelease> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    if (!parsed || !iterator) {
        return systemFailure(ExitCode::kFailed, kOperation, file, "cannot be read", ENOMEM);
    }
    if (Status status = parse(*parsed, file); !status) {
        return status.failure();
    }
    MountTable table;
    libmnt_fs* fs = nullptr;
    while (mnt_table_next_fs(parsed.get(), iterator.get(), &fs) == 0) {
        table.entries_.push_back(entryOf(fs));
    }
    table.index();
    return table;
}

void MountTable::index() {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        byId_[entries_[i].id] = i;
        childAt_[{entries_[i].parentId, entries_[i].point}] = i;
    }
    const auto isRoot = [this](const MountEntry& entry) {
        return entry.point == "/" && (!byId_.contains(entry.parentId) || entry.parentId == entry.id);
    };
    const auto found = std::find_if(entries_.begin(), entries_.end(), isRoot);
    root_ = static_cast<std::size_t>(found - entries_.begin());  // size() for a table without a root
}

std::vector<const MountEntry*> MountTable::allAt(std::string_view point) const {
    std::vector<const MountEntry*> found;
    for (const MountEntry& entry : entries_) {
        if (entry.point == point) {
            found.push_back(&entry);
        }
    }
    return found;
}

// From a mount to the one on top of the stack at `point`.
std::size_t MountTable::climb(std::size_t entry, std::string_view point) const {
    // Bounded, because a table with an id twice could send it round for ever.
    for (std::size_t step = 0; step < entries_.size(); ++step) {
        const auto next = childAt_.find({entries_[entry].id, std::string(point)});
        if (next == childAt_.end() || next->second == entry) {
            break;
        }
        entry = next->second;
    }
    return entry;
}

const MountEntry* MountTable::reachedBy(std::string_view path) const {
    if (root_ >= entries_.size()) {
        return nullptr;
    }
    std::size_t reached = climb(root_, "/");
    for (std::size_t end = 1; end <= path.size(); ++end) {
        if (end > 1 && (end == path.size() || path[end] == '/')) {
            reached = climb(reached, path.substr(0, end));
        }
    }
    return &entries_[reached];
}

const MountEntry* MountTable::visibleAt(std::string_view point) const {
    const MountEntry* reached = reachedBy(point);
    return reached != nullptr && reached->point == point ? reached : nullptr;
}

std::vector<const MountEntry*> MountTable::ofDevice(dev_t device) const {
    std::vector<const MountEntry*> found;
    for (const MountEntry& entry : entries_) {
        if (entry.device == device) {
            found.push_back(&entry);
        }
    }
    return found;
}

const MountEntry* MountTable::withId(int id) const {
    const auto found = byId_.find(id);
    return found != byId_.end() ? &entries_[found->second] : nullptr;
}

const MountEntry* MountTable::covering(const MountEntry& entry) const {
    const MountEntry* reached = reachedBy(entry.point);
    return reached == nullptr || reached->id == entry.id ? nullptr : reached;
}

}  // namespace tarnctl
