// For tests: a scratch file system, its held directory, and the steps that most guard tests share.
#pragma once

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <memory>
#include <string>

#include "host/freeze/fs_freeze.h"
#include "host/freeze/held_directory.h"
#include "host/freeze/scratch_file_system.h"
#include "host/guard/freeze_guard.h"
#include "host/guard/host_child.h"

namespace tarnctl {

// Sanitizers replace mlockall by nothing and make system calls of their own.
inline bool isSanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
    return __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
    return false;
#endif
}

class GuardTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::string reason = ScratchFileSystem::reasonToSkip(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        // The guards of killed hosts become our children, so that none is left as a zombie of somebody else.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        scratch_ = std::make_unique<ScratchFileSystem>();
        auto held = HeldDirectory::open(scratch_->mountPoint());
        ASSERT_TRUE(held) << held.failure().cause;
        held_ = std::make_unique<HeldDirectory>(std::move(*held));
    }
    void TearDown() override {
        if (held_) {
            thawFs(held_->fd());
        }
        held_.reset();
        scratch_.reset();
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }

    const HeldDirectory& held() const { return *held_; }
    FrozenProof proof() const { return isFrozen(held_->fd()).proof; }
    ThawOutcome thaw() const { return thawFs(held_->fd()).outcome; }
    FreezeOutcome freeze() const { return freezeFs(held_->fd()).outcome; }

    std::unique_ptr<ScratchFileSystem> scratch_;
    std::unique_ptr<HeldDirectory> held_;
};

// Steps of a host child, each with its own exit status.
inline FreezeGuard armOrExit(const HeldDirectory& directory, const GuardLimits& limits = {}) {
    auto guard = FreezeGuard::arm(directory, limits);
    if (!guard) {
        _exit(90);
    }
    return std::move(*guard);
}

inline void announceOrExit(FreezeGuard& guard) {
    if (!guard.announceFreezing()) {
        _exit(91);
    }
}

inline void freezeOrExit(const HeldDirectory& directory) {
    if (freezeFs(directory.fd()).outcome != FreezeOutcome::kDone) {
        _exit(92);
    }
}

}  // namespace tarnctl
