// The working directory may lie on the file system that is to be frozen: the road walks in "/" and comes back.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "host/freeze/owned_fd.h"

namespace tarnctl {

// One thread: the working directory belongs to the process. Where it cannot be opened (it is gone) there is nothing to
// come back to.
class AwayFromHere {
  public:
    AwayFromHere() : here_(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) { isAway_ = ::chdir("/") == 0; }
    AwayFromHere(const AwayFromHere&) = delete;
    AwayFromHere& operator=(const AwayFromHere&) = delete;
    ~AwayFromHere() {
        if (isAway_ && here_ && ::fchdir(here_.get()) != 0) {
            isAway_ = false;  // it was removed meanwhile: "/" is as good as any other place
        }
    }

  private:
    OwnedFd here_;
    bool isAway_ = false;
};

}  // namespace tarnctl
