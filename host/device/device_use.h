// Whether a block device is nobody's, so that a file system may be made on it or mounted from it.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/device/block_device.h"
#include "host/mounts/mount_table.h"
#include "host/report/failure.h"

namespace tarnctl {

// kBusy, with who it is, when the device is mounted (here, or in the mount name space of any process that can be seen),
// is swapped to, has partitions, carries another device (device mapper, md, a loop device over it), stands on a loop
// device over a file that another loop device shows too, or cannot be opened exclusively. Reads only; what it answers
// is about this moment. `table` is this process's own.
Status refuseUsed(const BlockDevice& device, const MountTable& table, const std::string& sysfs = "/sys");

enum class RecordedAs { kAnything, kSnapshotDevice };

// kBusy when a snapshot that is not gone has it as its origin, its volume or its snapshot device, or only as the last.
Status refuseRecorded(const BlockDevice& device, const Catalog& catalog, RecordedAs as = RecordedAs::kAnything);

// Whether the name leads to this device.
bool isDeviceNamed(const std::string& name, const BlockDevice& device);

}  // namespace tarnctl
