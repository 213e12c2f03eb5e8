#include "road_model.h"

#include <sys/stat.h>

#include <algorithm>

namespace roads {
namespace {

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

std::vector<MountEntry> tableNumber(int number) {
    const std::vector<MountEntry> ordinary = {{"/dev/sdb1", "/data", "xfs", "rw"},
                                              {"/dev/sdc1", "/logs", "ext3", "rw,noatime"},
                                              {"server:/export", "/srv/nfs", "nfs", "rw,vers=3"},
                                              {"/dev/sdd1", "/media", "ext4", "rw"},
                                              {"/dev/snap0", "/data_alt", "xfs", "ro"}};
    switch (number % 4) {
        case 0:
            return ordinary;
        case 1:
            return {{"/dev/sdb1", "/elsewhere", "xfs", "rw"},
                    {"/dev/sdz", "/data_alt", "xfs", "ro"},
                    {"/dev/sdy", "/data_alt0", "ext3", "ro"},
                    {"/dev/sdd1", "/media", "ufs", "rw"}};
        case 2:
            return {};
        default:
            return {{"/dev/sdb1", "/data", "xfs", "rw"}, {"/dev/sdc1", "/logs", "nfs4", "rw"}};
    }
}

}  // namespace

HostModel hostNumber(int number) {
    const int commands = number / 4 % 8;
    return {.table = tableNumber(number),
            .isReadable = number / 4 != 7 && number / 4 != 15,
            .commands = commands == 7 ? CommandsDo::kSucceed : static_cast<CommandsDo>(commands),
            .isServed = number >= kHosts / 2};
}

bool HostModel::runs(const std::string& command) const {
    return commands == CommandsDo::kSucceed || (commands == CommandsDo::kFailToMount && command != "mount");
}

const MountEntry* HostModel::at(const std::string& mountPoint) const {
    const auto entry =
        std::find_if(table.begin(), table.end(), [&](auto& one) { return one.mountPoint == mountPoint; });
    return isReadable && entry != table.end() ? &*entry : nullptr;
}

const MountEntry* HostModel::of(const std::string& device) const {
    const auto entry = std::find_if(table.begin(), table.end(), [&](auto& one) { return one.device == device; });
    return isReadable && entry != table.end() ? &*entry : nullptr;
}

bed::Host HostModel::shape() const {
    static const std::vector<std::string> kAll = {"mount",      "umount", "mkdir", "rmdir",
                                                  "xfs_freeze", "fuser",  "fsck",  "mkfs"};
    bed::Host host;
    for (const MountEntry& entry : table) {
        host.mountTable += entry.device + ' ' + entry.mountPoint + ' ' + entry.type + ' ' + entry.options + " 0 0\n";
    }
    host.tableUnreadable = !isReadable;
    host.procMounts = "server:/export /srv/nfs nfs rw,vers=3 0 0\n/dev/sdc1 /logs nfs4 rw,vers=4.1 0 0\n";
    for (const std::string& command : kAll) {
        bed::Answer answer{.command = command};
        answer.exitStatus = runs(command) ? 0 : 32;
        answer.prints = commands == CommandsDo::kSayBusy ? "target is busy\n" : command == "mount" ? "xfs\n" : "";
        answer.endsBySignal = commands == CommandsDo::kDie ? 9 : 0;
        answer.hangs = commands == CommandsDo::kHang;
        host.answers.push_back(answer);
    }
    if (commands == CommandsDo::kMiss) {
        host.missingCommands = kAll;
    }
    return host;
}

Model::Model() {
    for (const char* name : {"/data", "/logs", "/srv/nfs", "/media", "/data", "/data_alt", "NDMP:/vol/x"}) {
        nodes.push_back({.name = name});
    }
    nodes[1].requestedName = "/snap";
    nodes[4].requestedName = "/data_alt";
}

Data* Model::dataOf(int node) {
    const int slot = nodes[static_cast<size_t>(node)].data;
    return slot == kNothing ? nullptr : &data[static_cast<size_t>(slot)];
}

int Model::records() const {
    return static_cast<int>(std::count_if(nodes.begin(), nodes.end(), [](auto& node) { return node.hasRecord; }));
}

void Model::attach(int node, bool isAlternate) {
    NodeModel& one = nodes[static_cast<size_t>(node)];
    if (one.data != kNothing) {
        return;
    }
    const auto [entry, isNew] = (isAlternate ? alternate : source).try_emplace(one.name, static_cast<int>(data.size()));
    if (isNew) {
        data.push_back({.isAlternate = isAlternate});
    }
    one.data = entry->second;
}

void Model::deInitNode(int node) {
    NodeModel& one = nodes[static_cast<size_t>(node)];
    one.hasRecord = false;
    if (one.data == kNothing) {
        return;
    }
    std::map<std::string, int>& map = dataOf(node)->isAlternate ? alternate : source;
    one.data = kNothing;
    const auto entry = map.find(one.name);
    if (entry != map.end() &&
        std::none_of(nodes.begin(), nodes.end(), [&](auto& other) { return other.data == entry->second; })) {
        map.erase(entry);
    }
}

void Model::startAnew() {
    source.clear();
    alternate.clear();
}

Expected Model::recordMount(int node) {
    const MountEntry* entry = host.at(nodes[static_cast<size_t>(node)].name);
    if (entry == nullptr) {
        return {host.isReadable ? ZFI_ERR_NOT_MOUNTED : ZFI_ERR_MOUNT_TABLE};
    }
    Data& recorded = *dataOf(node);
    recorded.state.device = entry->device;
    recorded.state.type = entry->type;
    recorded.state.options = entry->options;
    return {};
}

Expected Model::initNode(int node) {
    NodeModel& one = nodes[static_cast<size_t>(node)];
    attach(node, false);
    one.hasRecord = false;
    if (const Expected failed = recordMount(node); failed.status != ZFI_OK) {
        return failed;
    }
    Data& recorded = *dataOf(node);
    one.hasRecord = recorded.state.type == "xfs" || recorded.state.type == "ufs";
    if (startsWith(recorded.state.type, "nfs")) {
        recorded.state.version = one.name == "/srv/nfs" ? "3" : one.name == "/logs" ? "4" : "0";
    }
    if (recorded.subObjects.empty()) {
        recorded.subObjects.push_back(recorded.state.device);
    }
    return {};
}

Expected Model::initAltNode(int node) {
    attach(node, true);
    const std::string& name = nodes[static_cast<size_t>(node)].name;
    Data& recorded = *dataOf(node);
    if (startsWith(name, "NDMP:")) {
        recorded.subObjects.push_back(name);
        return {};
    }
    if (const Expected failed = recordMount(node); failed.status != ZFI_OK) {
        return failed;
    }
    if (recorded.subObjects.empty()) {
        recorded.subObjects.push_back(recorded.state.device);
    }
    return {};
}

Expected Model::restoreState(int node, const bed::State& state) {
    attach(node, false);
    dataOf(node)->state = state;
    return {};
}

Expected Model::claim(const std::string& name) const {
    struct stat info = {};
    const bool isDirectory = stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    return {isDirectory && host.at(name) != nullptr && host.isServed ? ZFI_CLAIMED : ZFI_OK};
}

Expected Model::freeze(int node) {
    const Data* recorded = dataOf(node);
    if (recorded == nullptr) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    const bool isFrozen = startsWith(recorded->state.type, "xfs") || startsWith(recorded->state.type, "ufs");
    return {isFrozen && !host.runs("xfs_freeze") ? ZFI_ERR_FAILED : ZFI_OK};
}

Expected Model::remount(int node) {
    const Data* recorded = dataOf(node);
    if (recorded == nullptr || recorded->subObjects.empty()) {
        return {ZFI_ERR_INVALID_ARGUMENT};
    }
    return {host.runs("mount") ? ZFI_OK : ZFI_ERR_FAILED};
}

}  // namespace roads
