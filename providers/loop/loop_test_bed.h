// A place for tests with real loop devices: a folder of its own, images, devices attached by the system's own tool (so
// that ours is not tested against itself), and a small file system that can clone. Everything goes when it ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace loopfi {

class LoopTestBed {
  public:
    LoopTestBed();   // also clears what a killed run left behind
    ~LoopTestBed();  // can be followed by another run's clearing
    LoopTestBed(const LoopTestBed&) = delete;
    LoopTestBed& operator=(const LoopTestBed&) = delete;

    // Empty when tests can run here; else what is missing.
    static std::string missing();

    const std::string& directory() const { return directory_; }

    // What this process mounts from now on is in no other name space: one that a test beside us makes would have a copy
    // of it, and keep the device in use after our unmount.
    static void enterPrivateMounts();

    // Mounts an xfs that can clone and returns where. The caller's process gets its own mount namespace first.
    std::string mountCloning();

    // A file of `length` bytes with recognisable data in its first `dataLength` bytes.
    static void makeImage(const std::string& path, std::uint64_t length, std::uint64_t dataLength);

    // Runs losetup with `options` on the image and returns the device.
    std::string attach(const std::string& image, const std::string& options = "");

    // The loop devices whose backing file lies in the folder, or whose name or file contains `text`.
    static std::vector<std::string> devicesOver(const std::string& text);

    // Runs a shell command; true when it exits with 0.
    static bool run(const std::string& command);
    static std::string output(const std::string& command);

  private:
    static void clear(const std::string& directory);
    std::string directory_;
};

}  // namespace loopfi
