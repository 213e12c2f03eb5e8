// For tests: a small file system of its own on a loop device, mounted in a private mount namespace of the test process.
// Everything lies in one folder /var/tmp/tarnfi-test-XXXXXX. The loop device detaches by itself with the unmount, also
// when the test is killed.
#pragma once

#include <string>
#include <vector>

namespace tarnctl {

class ScratchFileSystem {
  public:
    // Empty where these tests can run; otherwise the reason why not. Enters the private mount namespace.
    static std::string reasonToSkip();

    // Makes and mounts it; throws std::runtime_error with the step that failed.
    explicit ScratchFileSystem(const std::string& type = "xfs");
    ScratchFileSystem(const ScratchFileSystem&) = delete;
    ScratchFileSystem& operator=(const ScratchFileSystem&) = delete;
    ~ScratchFileSystem() { tearDown(); }

    const std::string& mountPoint() const { return mountPoint_; }
    // Thaws, unmounts, deletes; may run twice.
    void tearDown() noexcept;

  private:
    std::string folder_;
    std::string mountPoint_;
};

// Runs a command with its standard output captured and answers its exit status, 128 + signal, or -1.
int runCommand(const std::vector<std::string>& words, std::string* output = nullptr);

}  // namespace tarnctl
