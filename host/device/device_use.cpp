#include "host/device/device_use.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>

#include "host/device/loop_files.h"
#include "host/freeze/owned_fd.h"
#include "host/mounts/backing_chain.h"
#include "host/report/system_failure.h"
#include "host/road/recorded_nodes.h"

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

Failure objectionTo(const BlockDevice& device, std::string cause) {
    return Failure{ExitCode::kBusy, "check that nobody uses the device", device.path, std::move(cause)};
}

// Where it is mounted; null when it is not.
const MountEntry* mountOf(const MountTable& table, dev_t device) {
    const auto& entries = table.entries();
    const auto found = std::find_if(entries.begin(), entries.end(), [device](const MountEntry& entry) {
        return entry.device == device || blockDeviceOf(entry) == device;
    });
    return found == entries.end() ? nullptr : &*found;
}

Status refuseMounted(const BlockDevice& device, const MountTable& table) {
    if (const MountEntry* entry = mountOf(table, device.number)) {
        return objectionTo(device, "it is mounted at " + entry->point);
    }
    return Done{};
}

// Every mount name space once, by any of its processes. What cannot be seen is left to the exclusive opening.
Status refuseMountedElsewhere(const BlockDevice& device) {
    std::set<std::string> seen;
    std::error_code error;
    for (fs::directory_iterator process("/proc", error), end; !error && process != end; process.increment(error)) {
        const std::string pid = process->path().filename().native();
        if (pid.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        std::error_code gone;
        const std::string space = fs::read_symlink(process->path() / "ns/mnt", gone).native();
        if (gone || !seen.insert(space).second) {
            continue;
        }
        const auto table = MountTable::readFrom((process->path() / "mountinfo").native());
        const MountEntry* entry = table ? mountOf(*table, device.number) : nullptr;
        if (entry != nullptr) {
            return objectionTo(
                device, fmt::format("it is mounted at {} in the mount name space of process {}", entry->point, pid));
        }
    }
    return Done{};
}

Status refuseSwap(const BlockDevice& device) {
    std::ifstream swaps("/proc/swaps");
    std::string line;
    std::getline(swaps, line);  // the heading
    while (std::getline(swaps, line)) {
        struct stat status {};
        const std::string name = line.substr(0, line.find_first_of(" \t"));
        if (::stat(name.c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device.number) {
            return objectionTo(device, "it is swapped to");
        }
    }
    return Done{};
}

Status refuseCarrier(const BlockDevice& device, const std::string& sysfs) {
    const fs::path folder = fs::path(sysfs) / "dev/block" / deviceNumberText(device.number);
    std::error_code error;
    for (const fs::directory_entry& holder : fs::directory_iterator(folder / "holders", error)) {
        return objectionTo(device, "it carries " + holder.path().filename().native());
    }
    for (const fs::directory_entry& inside : fs::directory_iterator(folder, error)) {
        std::error_code ignored;
        if (fs::exists(inside.path() / "partition", ignored)) {
            return objectionTo(device, "it has partitions (" + inside.path().filename().native() + ")");
        }
    }
    return Done{};
}

Status refuseSharedFile(const BlockDevice& device, const MountTable& table, const std::string& sysfs) {
    const std::vector<LoopFile> loops = loopFiles(sysfs);
    for (const LoopFile& loop : loops) {
        if (loop.shownDevice == device.number) {
            return objectionTo(device, "the loop device " + loop.name + " shows it");
        }
    }
    const auto below = backingChain(device.number, table, sysfs);
    if (!below) {
        return below.failure();
    }
    for (const BackingFile& backing : *below) {
        const auto own =
            std::find_if(loops.begin(), loops.end(), [&](const LoopFile& loop) { return loop.number == backing.loop; });
        for (const LoopFile& other : loops) {
            if (own != loops.end() && other.number != own->number && other.isSameFileAs(*own)) {
                return objectionTo(device, fmt::format("its file {} is shown by {}, too", backing.file, other.name));
            }
        }
    }
    return Done{};
}

// The kernel's own answer, also for users that leave no other trace.
Status refuseHeld(const BlockDevice& device) {
    const OwnedFd opened(::open(device.path.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
    if (opened) {
        return Done{};
    }
    if (errno == EBUSY) {
        return objectionTo(device, "somebody holds it: it cannot be opened exclusively");
    }
    return systemFailure(ExitCode::kFailed, "check that nobody uses the device", device.path, "cannot be opened",
                         errno);
}

}  // namespace

Status refuseUsed(const BlockDevice& device, const MountTable& table, const std::string& sysfs) {
    if (Status status = refuseMounted(device, table); !status) {
        return status;
    }
    if (Status status = refuseMountedElsewhere(device); !status) {
        return status;
    }
    if (Status status = refuseSwap(device); !status) {
        return status;
    }
    if (Status status = refuseCarrier(device, sysfs); !status) {
        return status;
    }
    if (Status status = refuseSharedFile(device, table, sysfs); !status) {
        return status;
    }
    return refuseHeld(device);
}

bool isDeviceNamed(const std::string& name, const BlockDevice& device) {
    struct stat status {};
    return ::stat(name.c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device.number;
}

Status refuseRecorded(const BlockDevice& device, const Catalog& catalog, RecordedAs as) {
    auto records = catalog.snapshots();
    if (!records) {
        return records.failure();
    }
    for (const SnapshotRecord& record : *records) {
        if (record.state == SnapshotState::kGone) {
            continue;
        }
        auto nodes = catalog.nodes(record.id);
        auto imported = isImported(catalog, record.id);
        if (!nodes || !imported) {
            return nodes ? imported.failure() : nodes.failure();
        }
        const bool isRecorded = std::any_of(nodes->begin(), nodes->end(), [&](const NodeRecord& node) {
            const bool counts = node.node.role == NodeRole::kSnapshotDevice ||
                                (as == RecordedAs::kAnything && node.node.role == NodeRole::kDevice && !*imported);
            return counts && isDeviceNamed(node.node.name, device);
        });
        if (isRecorded) {
            return objectionTo(device, fmt::format("it belongs to snapshot {}: delete that first", record.id));
        }
    }
    return Done{};
}

}  // namespace tarnctl
