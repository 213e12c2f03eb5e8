// Asks SCSI disks who they are and how large, over the device node and the kernel's own records.
#pragma once

#include <string>

#include "scsi_device_data.h"
#include "sysfs_tree.h"

// Carries no state but where to look; may be used by several threads for different records.
class CScsiToolBase {
  public:
    // Where the kernel shows its devices and where their nodes lie.
    explicit CScsiToolBase(std::string sysfsRoot = "/sys", std::string deviceRoot = "/dev");
    CScsiToolBase(const CScsiToolBase&) = delete;
    CScsiToolBase& operator=(const CScsiToolBase&) = delete;
    virtual ~CScsiToolBase() = default;

    // Refreshes a record with INQUIRY, READ CAPACITY and the identification page, and with what the kernel knows.
    //
    // 0: refreshed, as far as anybody answered. Non-zero: the device is gone, and isGone says so: the kernel dropped
    // it, the target knows no such unit, or the unit says that no device is connected. A missing node, a lacking
    // permission, a path that is down or a unit that is not ready are no such answer: then 0, and `unanswered` tells
    // why. A null record is non-zero. Throws nothing but std::bad_alloc.
    virtual int UpdateDevice(CScsiDeviceData* device);

  protected:
    const SysfsTree& sysfs() const { return sysfs_; }
    const std::string& deviceRoot() const { return deviceRoot_; }

  private:
    bool readKernelRecord(CScsiDeviceData& device) const;
    bool isItsNode(int descriptor, const CScsiDeviceData& device) const;
    void askDevice(CScsiDeviceData& device) const;

    SysfsTree sysfs_;
    std::string deviceRoot_;
};

// The tool as the discovery inherits it.
class CScsiTool : public CScsiToolBase {
  public:
    using CScsiToolBase::CScsiToolBase;
};
