// A process that keeps a file system busy.
#pragma once

#include <sys/types.h>

#include <string>

namespace road {

// Starts with the object and is killed with it, or with the test program.
class FileUser {
  public:
    enum class Ending { kBySignal, kIgnoresTerm };

    // Keeps `path` open, a file or a directory; it is open when the constructor returns.
    explicit FileUser(const std::string& path, Ending ending = Ending::kBySignal);
    FileUser(const FileUser&) = delete;
    FileUser& operator=(const FileUser&) = delete;
    ~FileUser();

    pid_t pid() const { return pid_; }
    bool isAlive();
    // Waits until it has ended, at most 20 seconds. The signal that ended it; 0 when none did.
    int endedBy();

  private:
    pid_t pid_;
    int status_ = 0;
    bool hasEnded_ = false;
};

}  // namespace road
