// Mount tables of any size under the names that programs read, in a mount namespace of this process alone.
#pragma once

#include <string>

// Without root it needs user namespaces. One per process, made before any other thread. What it mounts goes with the
// process; it leaves one empty folder in /tmp, which the destructor removes.
class PrivateTables {
  public:
    // Throws std::system_error with the step that this machine refuses.
    PrivateTables();
    PrivateTables(const PrivateTables&) = delete;
    PrivateTables& operator=(const PrivateTables&) = delete;
    ~PrivateTables();

    // /etc/mtab becomes a file of this many entries: xfs volumes as a busy server has them, and mountPoint, of type
    // xfs and with these options, as the last one.
    void showFile(int entries, const std::string& mountPoint, const std::string& options = "rw,relatime,attr2");
    // /etc/mtab becomes the kernel's own table again.
    void showKernelTable();
    // Adds small mounts to the kernel's table until it has at least this many; answers the last one's mount point.
    std::string mountUntil(int entries);

  private:
    void show(const std::string& target);

    std::string root_;
};
