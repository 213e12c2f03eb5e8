// Tests that mount: in a child process with a mount name space of its own, so that nothing has to be undone.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

namespace tarnctl {

enum class PrivateRun { kPassed, kFailed, kNotPossible };

namespace detail {

inline bool enterPrivateMounts() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    return geteuid() == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace detail

// Runs `body` in a child that is root in a user and mount name space of its own; expectations may fail in it. Answers
// kNotPossible where the kernel refuses such name spaces.
inline PrivateRun runInPrivateMounts(const std::function<void()>& body) {
    constexpr int kNotPossibleStatus = 77;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!detail::enterPrivateMounts()) {
            _exit(kNotPossibleStatus);
        }
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return PrivateRun::kFailed;
    }
    if (WEXITSTATUS(status) == kNotPossibleStatus) {
        return PrivateRun::kNotPossible;
    }
    return WEXITSTATUS(status) == 0 ? PrivateRun::kPassed : PrivateRun::kFailed;
}

}  // namespace tarnctl

// The test that uses it ends after this.
#define TARN_RUN_IN_PRIVATE_MOUNTS(body)                                           \
    switch (tarnctl::runInPrivateMounts(body)) {                                   \
        case tarnctl::PrivateRun::kPassed:                                         \
            break;                                                                 \
        case tarnctl::PrivateRun::kFailed:                                         \
            FAIL() << "the child process failed, see its messages above";          \
        case tarnctl::PrivateRun::kNotPossible:                                    \
            GTEST_SKIP() << "this kernel gives no user and mount name space here"; \
    }
