// Lets the host's multipath layer take notice of what a rescan found and lost.
#pragma once

#include <string>

#include "cfitraceable.h"
#include "sysfs_tree.h"

// Works through the installed tools; a host without them needs nothing done, which is a success and is traced once per
// object. Not for two threads at a time.
class CRvlDiscoveryManager : public CFiTraceable {
  public:
    explicit CRvlDiscoveryManager(std::string sysfsRoot = "/sys");

    // Waits until the device nodes of new disks are there (at most 30 s), then has new paths gathered into their maps.
    // 0, or non-zero when a tool failed.
    int rescan();
    // Removes the multipath maps that no path leads to any more and nobody uses. Maps with a path are never touched.
    // 0, or non-zero when a tool failed; all maps are tried.
    int flushStaleMaps();

  private:
    bool hasMultipath();
    int run(const std::string& command);

    SysfsTree sysfs_;
    bool hasToldMissing_ = false;
};
