// A freeze must not outlive its test: a writer inside a frozen file system cannot be interrupted, not even by a kill.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace road {

// A process of its own that thaws these file systems when the test has not come to its end after 30 seconds; that is a
// failure of the test. It holds their directories: they cannot be unmounted while the object lives. To be made before
// the first freeze.
class ThawGuard {
  public:
    explicit ThawGuard(const std::vector<std::string>& points);
    ThawGuard(const ThawGuard&) = delete;
    ThawGuard& operator=(const ThawGuard&) = delete;
    ~ThawGuard();

  private:
    pid_t pid_;
    int end_;  // closed to tell it that it is not needed any more
};

}  // namespace road
