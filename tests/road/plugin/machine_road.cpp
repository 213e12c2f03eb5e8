#include "machine_road.h"

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "znfi.h"

namespace road {
namespace {

std::multiset<std::string> mountPoints() {
    std::multiset<std::string> points;
    for (const Mount& mount : mounts()) {
        points.insert(mount.point);
    }
    return points;
}

// Names directly below / and below the private file system.
std::set<std::string> names() {
    std::set<std::string> found;
    for (const char* folder : {"/", kRoot}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            found.insert(entry.path());
        }
    }
    return found;
}

}  // namespace

void MachineRoad::SetUp() {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    isSetUp_ = true;
    pointsBefore_ = mountPoints();
    namesBefore_ = names();
    forgetPauses();
    znfi_trace_set_level(3);
    znfi_trace_sink(recordLine, this);
}

void MachineRoad::TearDown() {
    if (!isSetUp_) {
        return;
    }
    forgetPauses();
    znfi_trace_sink(nullptr, nullptr);
    disks_.clear();
    for (const std::string& name : names()) {
        if (!namesBefore_.contains(name) && name.rfind(kRoot, 0) == 0) {
            std::filesystem::remove_all(name);
        }
    }
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    if (HasFailure()) {
        for (const std::string& line : trace_) {
            std::printf("    %s\n", line.c_str());
        }
    }
}

std::vector<std::string> MachineRoad::leftovers() const {
    std::vector<std::string> left;
    for (const std::string& point : mountPoints()) {
        if (!pointsBefore_.contains(point)) {
            left.push_back("mounted: " + point);
        }
    }
    for (const std::string& name : names()) {
        const bool isOurs = name.rfind("/tmp_", 0) == 0 || name.find(kPrefix) != std::string::npos;
        if (!namesBefore_.contains(name) && isOurs) {
            left.push_back("there: " + name);
        }
    }
    // A device goes when its last user has gone.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!loopDevicesOver(ownPrefix()).empty() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    for (const std::string& device : loopDevicesOver(ownPrefix())) {
        left.push_back("attached: " + device);
    }
    if (waitpid(-1, nullptr, WNOHANG) >= 0) {
        left.push_back("a process that nobody waited for");
    }
    return left;
}

Disk& MachineRoad::disk(const std::string& type, const std::string& name) {
    Disk& made = emptyDisk(sizeFor(type), name);
    made.make(type);
    return made;
}

Disk& MachineRoad::emptyDisk(uint64_t size, const std::string& name) {
    return *disks_.emplace_back(std::make_unique<Disk>(name, size));
}

Disk& MachineRoad::copyOf(const Disk& origin, const std::string& name) {
    return *disks_.emplace_back(std::make_unique<Disk>(name, origin));
}

void MachineRoad::recordLine(void* context, int, const char*, const char* text) {
    static_cast<MachineRoad*>(context)->trace_.emplace_back(text);
}

bool MachineRoad::isTraced(const std::string& text) const {
    return std::any_of(trace_.begin(), trace_.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::vector<std::string> MachineRoad::traced(const std::string& beginning) const {
    std::vector<std::string> found;
    std::copy_if(trace_.begin(), trace_.end(), std::back_inserter(found),
                 [&](const std::string& line) { return line.rfind(beginning, 0) == 0; });
    return found;
}

}  // namespace road
