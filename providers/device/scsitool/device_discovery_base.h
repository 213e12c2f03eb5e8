// Brings the host's SCSI disks up to date: new ones appear, those that say they are gone are removed.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cfitraceable.h"
#include "rvl_discovery_manager.h"
#include "scsi_device_data.h"
#include "scsi_tool.h"

// Records returned as pointers are owned by the discovery and valid as long as it lives; a record is kept, and
// refreshed in place, when its device is listed again. One thread at a time per object; rescans of different objects,
// in whatever process of the host, wait for one another. The order of the virtual operations is an interface.
class CDeviceDiscoveryBase : public CFiTraceable, public virtual CScsiTool {
  public:
    ~CDeviceDiscoveryBase() override;

    using CFiTraceable::registerTraceLog;
    // Keeps a counted reference. The discovery manager has a log of its own.
    virtual void registerTraceLog(CFiSmartPtr<CFiTraceLog>& log);

    // Removes the devices of the list that are known to be gone (CScsiDeviceData::isGone) from the host and from the
    // list, and after that the multipath maps left without a path when flushMaps. 0, or non-zero when something could
    // not be removed.
    virtual int removeDeadDevices(std::vector<CScsiDeviceData*>& devices, bool flushMaps);

    // Has the kernel drop the device that was listed under this name. 0 also where it has done so already; non-zero for
    // a name that was never listed and where the kernel refuses. A device that got the name since is not touched.
    virtual int removeDevice(const std::string& name);

    // 0, or non-zero when the multipath tools are there and failed.
    virtual int FlushMultipathStaleDevices();

    // Waits for the host-wide lock, then: with rescanHosts has the buses scanned (hostOption as in rescanHostBuses) and
    // multipath told; lists the devices; refreshes each and removes those that are gone; clears up. Returns what is
    // left. Throws nothing but std::bad_alloc while the trace is written: failures end up there and the list is what
    // was found until then.
    virtual std::vector<CScsiDeviceData*> rescan(bool rescanHosts, bool hostOption, bool deadDeviceOption);

    // Refreshes the devices of one name and returns them; none is removed. Failures as with rescan. Takes no lock.
    virtual std::vector<CScsiDeviceData*> validateDevice(std::string deviceName);

    // The disks of the host.
    virtual std::vector<CScsiDeviceData*> listDevices() = 0;
    // Those behind one name of a device node.
    virtual std::vector<CScsiDeviceData*> listDevicesByName(std::string deviceName) = 0;
    // Has the kernel look for new devices. 0, or non-zero when a bus could not be scanned.
    virtual int rescanHostBuses(bool hostOption) = 0;

    CRvlDiscoveryManager& discoveryManager() { return discoveryManager_; }

  protected:
    explicit CDeviceDiscoveryBase(const std::string& sysfsRoot = "/sys");

    // The record of a device: the one that is kept for its address and name, or a new one.
    CScsiDeviceData* keep(const CScsiAddress& address, const std::string& name);
    void say(int level, const char* format, ...) const __attribute__((format(printf, 3, 4)));

  private:
    void rescanLocked(std::vector<CScsiDeviceData*>& devices, bool rescanHosts, bool hostOption, bool deadDeviceOption);
    void refreshOrRemove(const std::vector<CScsiDeviceData*>& devices);

    CRvlDiscoveryManager discoveryManager_;
    std::map<std::pair<CScsiAddress, std::string>, std::unique_ptr<CScsiDeviceData>> records_;
};
