#include "mount_table.h"

#include <sys/vfs.h>

#include <cstring>
#include <memory>
#include <vector>

#include "mount_entry_reader.h"
#include "nfs_version.h"
#include "tarn_trace.h"
#include "z_strings.h"

namespace {

using Key = MountEntryReader::Key;

constexpr const char* kMountTable = "/etc/mtab";
constexpr const char* kKernelTable = "/proc/mounts";

// One search through one table, and the matched entry for as long as it lives.
class Lookup {
  public:
    Lookup(const char* table, Key key, const char* value) : stream_(std::fopen(table, "re")), reader_(stream_.get()) {
        if (stream_) {
            std::setvbuf(stream_.get(), buffer_, _IOFBF, sizeof(buffer_));
            entry_ = reader_.find(key, value);
        }
    }

    // The entry, or null.
    const mntent* entry() const { return entry_; }
    // Could the table not be opened, or not be read as far as the entry?
    bool isUnreadable() const { return !stream_ || reader_.failed(); }

  private:
    struct Close {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    // The kernel hands out a page at a time; the library's own buffer for these files is a quarter of that.
    char buffer_[8192];
    std::unique_ptr<std::FILE, Close> stream_;
    MountEntryReader reader_;
    const mntent* entry_ = nullptr;
};

bool isServed(uint32_t magic) {
    switch (magic) {
        case 0x137D:      // ext
        case 0x6969:      // NFS
        case 0x72B6:      // JFFS2
        case 0x3153464A:  // JFS
        case 0x52654973:  // ReiserFS
        case 0x58465342:  // XFS
        case 0xA501FCF5:  // znfs
            return true;
        default:
            return magic >= 0xEF51 && magic <= 0xEF53;  // ext2 with its old magic, …, ext2 and later
    }
}

}  // namespace

int tarn_getsubobj(const char* mountPoint, char** device) {
    const Lookup lookup(kMountTable, Key::kMountPoint, mountPoint);
    if (lookup.isUnreadable()) {
        tarnLog()->trace(kTraceError, "tarn_getsubobj: setmntent() of mnttab file failed");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (lookup.entry() == nullptr) {
        return ZFI_ERR_NOT_MOUNTED;
    }
    *device = strdup(lookup.entry()->mnt_fsname);
    return ZFI_OK;
}

int tarn_get_mntent_value(const char* mountPoint, char** type, char** device, char** options) {
    const Lookup lookup(kMountTable, Key::kMountPoint, mountPoint);
    if (lookup.isUnreadable()) {
        tarnLog()->trace(kTraceError, "tarn_get_mntent_value: fopen() of mnttab file failed");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (lookup.entry() == nullptr) {
        tarnLog()->trace(kTraceError, "tarn_get_mntent_value: device [%s] is not mounted", mountPoint);
        return ZFI_ERR_NOT_MOUNTED;
    }
    *type = strdup(lookup.entry()->mnt_type);
    *device = strdup(lookup.entry()->mnt_fsname);
    *options = strdup(lookup.entry()->mnt_opts);
    return ZFI_OK;
}

int tarn_getmnt(const char* device, char** type, char** mountPoint, char** options) {
    const Lookup lookup(kMountTable, Key::kDevice, device);
    if (lookup.isUnreadable()) {
        tarnLog()->trace(kTraceError, "tarn_getmnt: fopen() of mnttab file failed");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (lookup.entry() == nullptr) {
        tarnLog()->trace(kTraceError, "tarn_getmnt: device [%s] is not mounted", device);
        return ZFI_ERR_NOT_MOUNTED;
    }
    *type = strdup(lookup.entry()->mnt_type);
    *mountPoint = strdup(lookup.entry()->mnt_dir);
    *options = strdup(lookup.entry()->mnt_opts);
    return ZFI_OK;
}

int tarn_get_mntent(const char* mountPoint, int* mounted) {
    const Lookup lookup(kMountTable, Key::kMountPoint, mountPoint);
    if (lookup.isUnreadable()) {
        tarnLog()->trace(kTraceError, "tarn_get_mntent: fopen() of mnttab file failed");
        return ZFI_ERR_MOUNT_TABLE;
    }
    if (lookup.entry() != nullptr) {
        *mounted = 1;
    }
    return ZFI_OK;
}

int getnfsvers(const char* mountPoint, int* version) {
    tarnLog()->trace(kTraceError, "Inside getnfsvers");
    const Lookup lookup(kKernelTable, Key::kMountPoint, mountPoint);
    if (lookup.entry() == nullptr) {
        return ZFI_OK;
    }
    *version = nfsVersionOf(lookup.entry()->mnt_opts);
    std::vector<char> text(1024);
    Z_snprintf(text.data(), text.size(), "%s: %s nfsversion=%d", "getnfsvers", mountPoint, *version);
    tarnLog()->trace(kTraceProgress, "%s", text.data());
    return ZFI_OK;
}

int tarn_check_fs_type(const char* mountPoint) {
    {
        const Lookup lookup(kMountTable, Key::kMountPoint, mountPoint);
        if (lookup.entry() == nullptr) {
            tarnLog()->trace(kTraceError, "tarn_check_fs_type: device [%s] is not mounted", mountPoint);
            return -1;
        }
    }
    struct statfs sfs = {};
    if (statfs(mountPoint, &sfs) != 0) {
        tarnLog()->trace(kTraceError, "tarn_check_fs_type: statfs() of [%s] failed", mountPoint);
        return -1;
    }
    if (!isServed(static_cast<uint32_t>(sfs.f_type))) {
        tarnLog()->trace(kTraceError, "tarn_check_fs_type: sfs.f_type is not proper");
        return -1;
    }
    return 0;
}

void freeMemory(void* memory) {
    std::free(memory);
}
