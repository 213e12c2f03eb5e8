#include "host/mounts/backing_chain.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> firstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    if (!std::getline(in, line)) {
        return std::nullopt;
    }
    return line;
}

std::optional<dev_t> deviceNumber(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    const char* end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), text.data() + colon, majorNumber);
    const auto second = std::from_chars(text.data() + colon + 1, end, minorNumber);
    if (first.ec != std::errc{} || second.ec != std::errc{} || second.ptr != end) {
        return std::nullopt;
    }
    return makedev(majorNumber, minorNumber);
}

std::optional<dev_t> deviceOfFolder(const fs::path& folder) {
    const std::optional<std::string> line = firstLine(folder / "dev");
    return line ? deviceNumber(*line) : std::nullopt;
}

// The kernel's own answer: the path may by now name another file, or one in another mount name space.
std::optional<dev_t> holderByLoop(const std::string& loopName) {
    const int loop = open(("/dev/" + loopName).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (loop < 0) {
        return std::nullopt;
    }
    loop_info64 info{};
    const int code = ioctl(loop, LOOP_GET_STATUS64, &info);
    close(loop);
    return code == 0 ? std::optional<dev_t>(info.lo_device) : std::nullopt;
}

std::optional<dev_t> holderByPath(const std::string& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? std::optional<dev_t>(status.st_dev) : std::nullopt;
}

class Descent {
  public:
    Descent(const MountTable& table, fs::path sysfs) : table_(table), sysfs_(std::move(sysfs)) {}

    Status below(dev_t device) {
        if (device == 0 || !seen_.insert(device).second) {
            return Done{};
        }
        std::error_code error;
        const fs::path folder = fs::canonical(sysfs_ / "dev/block" / deviceNumberText(device), error);
        if (error) {
            return Done{};  // no block device
        }
        if (const auto file = firstLine(folder / "loop/backing_file")) {
            return belowLoop(device, folder.filename(), *file);
        }
        if (fs::exists(folder / "partition", error)) {
            const std::optional<dev_t> disk = deviceOfFolder(folder.parent_path());
            return disk ? below(*disk) : Status(Done{});
        }
        return belowComponents(folder);
    }

    std::vector<BackingFile> take() { return std::move(found_); }

  private:
    Status belowComponents(const fs::path& folder) {
        std::error_code error;
        for (const fs::directory_entry& component : fs::directory_iterator(folder / "slaves", error)) {
            const std::optional<dev_t> device = deviceOfFolder(component.path());
            if (!device) {
                continue;
            }
            if (Status status = below(*device); !status) {
                return status;
            }
        }
        return Done{};
    }

    Status belowLoop(dev_t loop, const std::string& name, const std::string& file) {
        const std::optional<dev_t> byPath = holderByPath(file);
        const std::optional<dev_t> byLoop = holderByLoop(name);
        if (!byPath && !byLoop) {
            return Failure{ExitCode::kFailed, "find what a device stands on", "/dev/" + name,
                           "cannot tell which file system holds its image " + file};
        }
        const dev_t holder = byLoop ? *byLoop : *byPath;
        const MountEntry* mount = byPath && *byPath == holder ? mountOfPath(file) : nullptr;
        if (mount == nullptr) {
            const auto all = table_.ofDevice(holder);
            mount = all.empty() ? nullptr : all.front();
        }
        found_.push_back({loop, name, file, holder, mount != nullptr ? mount->point : ""});
        return below(mount != nullptr ? blockDeviceOf(*mount) : holder);
    }

    const MountEntry* mountOfPath(const std::string& file) const {
        std::error_code error;
        const fs::path real = fs::canonical(file, error);
        return error ? nullptr : table_.reachedBy(real.native());
    }

    const MountTable& table_;
    fs::path sysfs_;
    std::set<dev_t> seen_;
    std::vector<BackingFile> found_;
};

}  // namespace

Result<std::vector<BackingFile>> backingChain(dev_t device, const MountTable& table, const std::string& sysfs) {
    Descent descent(table, sysfs);
    if (Status status = descent.below(device); !status) {
        return status.failure();
    }
    return descent.take();
}

dev_t blockDeviceOf(const MountEntry& entry) {
    struct stat status {};
    const bool isAnonymous = major(entry.device) == 0;
    if (isAnonymous && entry.source.starts_with('/') && stat(entry.source.c_str(), &status) == 0 &&
        S_ISBLK(status.st_mode)) {
        return status.st_rdev;
    }
    return entry.device;
}

}  // namespace tarnctl
