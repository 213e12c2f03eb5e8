// The kernel's own mount table of this namespace.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace road {

struct Mount {
    std::string device;
    std::string point;
    std::string type;
    std::set<std::string> options;
};

// All of them, in the table's order (/proc/self/mounts). Names of tests have no character that is escaped there.
std::vector<Mount> mounts();
// The last one at this point: the one that can be seen.
std::optional<Mount> mountAt(const std::string& point);
bool isMounted(const std::string& point);

// Thaws and unmounts everything at the point. What is just being left by its last user gets some seconds. May be called
// again.
void unmountAll(const std::string& point);

}  // namespace road
