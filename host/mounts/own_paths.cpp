#include "host/mounts/own_paths.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace tarnctl {
namespace {

namespace fs = std::filesystem;

// "fe:00", hexadecimal, as in the list of mappings.
dev_t hexadecimalDevice(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return 0;
    }
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    constexpr int kBase = 16;
    std::from_chars(text.data(), text.data() + colon, majorNumber, kBase);
    std::from_chars(text.data() + colon + 1, text.data() + text.size(), minorNumber, kBase);
    return makedev(majorNumber, minorNumber);
}

void addMappedFiles(std::vector<OwnPath>& paths) {
    std::ifstream maps("/proc/self/maps");
    std::set<std::string> seen;
    std::string line;
    while (std::getline(maps, line)) {
        std::istringstream fields(line);
        std::string addresses;
        std::string rights;
        std::string offset;
        std::string device;
        std::string inode;
        std::string path;
        fields >> addresses >> rights >> offset >> device >> inode >> std::ws;
        std::getline(fields, path);
        if (!path.starts_with('/') || !seen.insert(path).second) {
            continue;
        }
        struct stat status {};
        const bool isThere = stat(path.c_str(), &status) == 0;
        paths.push_back({"a mapped file of this program", path, isThere ? status.st_dev : hexadecimalDevice(device)});
    }
}

void addOpenFiles(std::vector<OwnPath>& paths) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd", error)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            const fs::path target = fs::read_symlink(entry.path(), error);
            paths.push_back({"open file " + entry.path().filename().native(), target.native(), status.st_dev});
        }
    }
}

}  // namespace

std::vector<OwnPath> ownPaths() {
    std::vector<OwnPath> paths;
    addMappedFiles(paths);
    addOpenFiles(paths);
    struct stat status {};
    if (stat(".", &status) == 0) {
        std::error_code error;
        paths.push_back({"the working directory", fs::current_path(error).native(), status.st_dev});
    }
    return paths;
}

}  // namespace tarnctl
