// A write that a frozen file system holds back.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace road {

// Writes one block to a file that it opened before, on a thread of its own. The file system must be thawed before the
// object ends: a writer inside a frozen one cannot be interrupted.
class BlockedWriter {
  public:
    // Opens the file, which need not exist yet. The file system is not frozen then.
    explicit BlockedWriter(const std::string& path);
    BlockedWriter(const BlockedWriter&) = delete;
    BlockedWriter& operator=(const BlockedWriter&) = delete;
    ~BlockedWriter();

    void start();
    // Waits until the thread waits inside the kernel, at most 20 seconds. Does it, with nothing written?
    bool isHeldBack();
    // Waits until the write is done, at most 20 seconds. Was it, in full?
    bool completes();

  private:
    char state() const;

    int file_;
    std::atomic<int> threadId_ = 0;
    std::atomic<bool> isDone_ = false;
    std::atomic<bool> isWritten_ = false;
    std::thread thread_;
};

}  // namespace road
