// The disks that a bus scan brings: the kernel names a disk's block device after the scan has returned.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "sysfs_tree.h"

// Made before a scan, asked after it. The tree must outlive it.
class NewDisks {
  public:
    explicit NewDisks(const SysfsTree& sysfs);

    // Waits until every disk that came since then has its block device, for `limit` at most. The addresses, sorted, of
    // those that still have none; a disk that had none before the scan is not waited for.
    std::vector<std::string> await(std::chrono::milliseconds limit) const;

  private:
    std::vector<std::string> nameless() const;

    const SysfsTree& sysfs_;
    std::set<std::string> known_;
};
