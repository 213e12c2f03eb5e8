#include "rvl_discovery_manager.h"

#include <unistd.h>

#include <vector>

#include "cfiexecpipe.h"

namespace {

constexpr char kMultipath[] = "/sbin/multipath";
constexpr char kUdevadm[] = "/usr/bin/udevadm";
constexpr unsigned long kTimeoutSeconds = 600;
constexpr int kDetail = 7;

bool isInstalled(const char* program) {
    return access(program, X_OK) == 0;
}

}  // namespace

CRvlDiscoveryManager::CRvlDiscoveryManager(std::string sysfsRoot) : sysfs_(std::move(sysfsRoot)) {}

int CRvlDiscoveryManager::rescan() {
    // Where the waiting fails there may still be paths to gather.
    const int settled = isInstalled(kUdevadm) ? run(std::string(kUdevadm) + " settle --timeout=30") : 0;
    const int gathered = hasMultipath() ? run(std::string(kMultipath) + " -v1") : 0;
    return settled != 0 ? settled : gathered;
}

int CRvlDiscoveryManager::flushStaleMaps() {
    if (!hasMultipath()) {
        return 0;
    }
    int result = 0;
    for (const std::string& block : sysfs_.entries("block")) {
        const std::string folder = "block/" + block;
        const bool isMap = sysfs_.read(folder + "/dm/uuid").value_or("").starts_with("mpath-");
        const bool isStale = sysfs_.entries(folder + "/slaves").empty() && sysfs_.entries(folder + "/holders").empty();
        const std::string name = sysfs_.read(folder + "/dm/name").value_or("");
        // A name that would not reach the tool as one argument is left alone.
        if (!isMap || !isStale || name.empty() || name.front() == '-' || name.find('"') != name.npos) {
            continue;
        }
        const int flushed = run(std::string(kMultipath) + " -f \"" + name + '"');
        result = result == 0 ? flushed : result;
    }
    return result;
}

bool CRvlDiscoveryManager::hasMultipath() {
    if (isInstalled(kMultipath)) {
        return true;
    }
    if (!hasToldMissing_ && traceLog()) {
        traceLog()->trace(kDetail, "libscsitool: %s is not installed, multipath maps are left as they are.",
                          kMultipath);
    }
    hasToldMissing_ = true;
    return false;
}

int CRvlDiscoveryManager::run(const std::string& command) {
    CFiExecPipePosix runner(1);
    runner.traceLog = traceLog();
    std::vector<std::string> output;
    const int result = runner.Exec(command, output, "", kTimeoutSeconds, "", "", "");
    if (result != 0 && traceLog()) {
        traceLog()->trace(kDetail, "libscsitool: '%s' failed: %s: %s", command.c_str(),
                          znfi_pdk_4_4::execPipeErrorName(result), output.empty() ? "" : output.back().c_str());
    }
    return result;
}
