#include "node_record.h"

#include <cstring>

#include "mount_table.h"
#include "tarn_trace.h"

namespace {

void traceLookupFailure(const char* method, int status) {
    if (status == ZFI_ERR_NOT_MOUNTED) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::%s: mount point entry lookup failed.", method);
    } else {
        tarnLog()->trace(kTraceError, "CTARNPlugin::%s: mnt-tab open failed.", method);
    }
}

}  // namespace

int recordMountEntry(const char* method, const char* mountPoint, CTARNPrivData& data) {
    MountText type;
    MountText device;
    MountText options;
    const int status = tarn_get_mntent_value(mountPoint, type.out(), device.out(), options.out());
    if (status != ZFI_OK) {
        traceLookupFailure(method, status);
        return status;
    }
    tarnLog()->trace(kTraceDetail, "mnt_fsname [%s]", device.text());
    tarnLog()->trace(kTraceDetail, "fstype [%s]", type.text());
    tarnLog()->trace(kTraceDetail, "mnt_opts [%s]", options.text());
    // What could not be copied leaves the recorded value as it was.
    data.setDevName(device.copy());
    data.setFsType(type.copy());
    data.setMntOpts(options.copy());
    return ZFI_OK;
}

int recordSubObject(const char* method, const char* mountPoint, CTARNPrivData& data) {
    MountText device;
    const int status = tarn_getsubobj(mountPoint, device.out());
    if (status != ZFI_OK) {
        traceLookupFailure(method, status);
        return status;
    }
    if (data.getSubObjectListLength() == 0) {
        const auto length = static_cast<uint32_t>(std::strlen(device.text()) + 1);
        data.addSubObject(znfi_get_objid(device.text(), length, ZFI_OBJID_SUBOBJECT));
    }
    return ZFI_OK;
}
