// What the providers traced at level 1 during one call, to be shown beside its status.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace tarnctl {

// One per process while it lives; several threads may trace. Lines held back by the runtime arrive when it releases
// them: ask after that.
class TraceTap {
  public:
    TraceTap();
    TraceTap(const TraceTap&) = delete;
    TraceTap& operator=(const TraceTap&) = delete;
    ~TraceTap();

    // The level-1 lines since the last call of take, oldest first; at most 100 are kept.
    std::vector<std::string> take();

  private:
    static void receive(void* tap, int level, const char* plugin, const char* text);

    std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace tarnctl
