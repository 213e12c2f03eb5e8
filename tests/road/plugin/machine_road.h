// What every test of this ring stands on: disks of its own, the trace of the product, and a sweep over the machine
// after the test.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "machine/disk.h"
#include "machine/mounts.h"
#include "machine/pause.h"
#include "machine/private_machine.h"
#include "machine/tool.h"

namespace road {

// Ends the test as skipped where the machine has no file systems of this type, or no fuser.
#define ROAD_NEEDS_TYPE(type)                                                   \
    if (const std::string why_ = road::reasonToSkipType(type); !why_.empty()) { \
        GTEST_SKIP() << why_;                                                   \
    }
#define ROAD_NEEDS_FUSER()                                                   \
    if (const std::string why_ = road::reasonToSkipFuser(); !why_.empty()) { \
        GTEST_SKIP() << why_;                                                \
    }

class MachineRoad : public testing::Test {
  protected:
    // Skips the test where there is no private machine.
    void SetUp() override;
    // Takes everything apart, then looks for what is left. What a test mounts may still be mounted at its end.
    void TearDown() override;

    // A new disk with a file system of this type.
    Disk& disk(const std::string& type, const std::string& name = "data");
    Disk& emptyDisk(uint64_t size, const std::string& name = "data");
    Disk& copyOf(const Disk& origin, const std::string& name);

    // Was a line that holds this text traced, at level 1 to 3?
    bool isTraced(const std::string& text) const;
    // The lines that begin so, in order.
    std::vector<std::string> traced(const std::string& beginning) const;

    // A path of the test's own in the private file system.
    static std::string at(const std::string& name) { return std::string(kRoot) + "/" + name; }

  private:
    static void recordLine(void* context, int level, const char* plugin, const char* text);
    std::vector<std::string> leftovers() const;

    std::deque<std::unique_ptr<Disk>> disks_;
    std::vector<std::string> trace_;
    std::multiset<std::string> pointsBefore_;
    std::set<std::string> namesBefore_;
    bool isSetUp_ = false;
};

}  // namespace road
