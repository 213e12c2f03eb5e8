// The device discovery of a Linux host, on the kernel's device records.
#pragma once

#include <string>
#include <vector>

#include "device_discovery_base.h"

// Lists SCSI disks (also zoned and reduced-command ones) that have a block device; other units and devices that are not
// SCSI are none of its business. Built for one rescan and dropped afterwards, records included.
class CLinuxDeviceDiscovery : public CDeviceDiscoveryBase {
  public:
    explicit CLinuxDeviceDiscovery(const std::string& sysfsRoot = "/sys", const std::string& deviceRoot = "/dev");

    // As CScsiToolBase, and traces why a device could not be asked.
    int UpdateDevice(CScsiDeviceData* device) override;

    // By address.
    std::vector<CScsiDeviceData*> listDevices() override;
    // "/dev/sdb", a symbolic link to it, or a device-mapper map: then the disks below it. Partitions have no records.
    std::vector<CScsiDeviceData*> listDevicesByName(std::string deviceName) override;
    // All hosts, or only those that a device is known on when not allHosts: adapters without any take long to answer.
    // A host that cannot be scanned does not keep the others from it. Returns when the new disks have their block
    // devices, which the kernel makes after the scan, or after two seconds.
    int rescanHostBuses(bool allHosts) override;

  private:
    std::vector<std::string> disksBelow(const std::string& block, int depth) const;
};
