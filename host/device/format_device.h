// A new file system on a block device that is nobody's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/device/block_device.h"
#include "host/installation.h"
#include "host/mounts/fs_lock.h"
#include "host/report/failure.h"

namespace tarnctl {

struct FormatRequest {
    std::string device;
    std::string type;
    std::vector<std::string> options;  // for mkfs
    bool isForced = false;             // what is on the device may be lost
};

struct Formatted {
    std::string device;
    std::string type;
    std::string uuid;
    std::string provider;               // whose format it was
    std::string replaced;               // the signatures that were there, for people
    std::vector<std::string> warnings;  // what went wrong without doing harm
};

class FormatDevice {
  public:
    // Borrowed; one device per object. One thread.
    FormatDevice(Providers& providers, const Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // Checks everything first: nothing is written unless the device is nobody's and, without isForced, empty. Then what
    // is on the device is what was asked for, or there is a failure. The device is this process's alone to mount
    // meanwhile: its test mount lives in a mount name space that the process enters here and does not leave.
    Result<Formatted> format(const FormatRequest& request);

  private:
    Status check(const FormatRequest& request);
    Status findProvider(const FormatRequest& request);
    Status refuseContent(bool isForced);
    Status make(const FormatRequest& request);
    void removeTestMount();
    Status prove(const FormatRequest& request);

    Providers& providers_;
    const Catalog& catalog_;
    BlockDevice device_;
    std::optional<FsLock> lock_;
    Provider* provider_ = nullptr;
    std::string options_;
    std::string oldUuid_;  // of the file system that was there
    Formatted formatted_;
};

}  // namespace tarnctl
