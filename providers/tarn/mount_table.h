// What is mounted where: each function answers one question and reads the table afresh. Names are compared exactly, as
// whole fields (no normalisation, so a trailing "/" matters), and the first entry in file order wins.
//
// Arguments must not be null. Texts handed back are the caller's, who releases them with freeMemory; an out pointer is
// written only with status 0 (unless a function says otherwise), and holds null where a copy could not be made. A table
// that cannot be read to the entry counts as one that cannot be opened.
//
// No state: any thread. No scope is traced; failures are, at level 1.
#pragma once

#include <cstdlib>

#include "zfi_types.h"

// The device mounted at mountPoint, from /etc/mtab. 0; 1083 table unreadable; 1084 not mounted (not traced).
int tarn_getsubobj(const char* mountPoint, char** device);

// Type, device and options of what is mounted at mountPoint, from /etc/mtab. 0, 1083, 1084.
int tarn_get_mntent_value(const char* mountPoint, char** type, char** device, char** options);

// Type, mount point and options of the first mount of device, from /etc/mtab. 0, 1083, 1084.
int tarn_getmnt(const char* device, char** type, char** mountPoint, char** options);

// Is mountPoint a mount point of /etc/mtab? *mounted becomes 1 when it is and is never reset: callers set it to 0
// first. 0 in both cases; 1083.
int tarn_get_mntent(const char* mountPoint, int* mounted);

// The protocol version of the NFS mount at mountPoint, from /proc/mounts: one digit of "vers=", or the number in the
// second option. Always 0; *version is untouched when there is no such mount.
int getnfsvers(const char* mountPoint, int* version);

// Is the file system mounted at mountPoint (by /etc/mtab) of a kind that the plug-in serves (by its superblock magic)?
// 0 yes, -1 no, with a trace of why.
int tarn_check_fs_type(const char* mountPoint);

// Releases a text that one of these functions handed back; null is passed over.
void freeMemory(void* memory);

// Holds such a text and releases it.
class MountText {
  public:
    MountText() = default;
    MountText(const MountText&) = delete;
    MountText& operator=(const MountText&) = delete;
    ~MountText() { freeMemory(text_); }

    // Where a function stores the text; once.
    char** out() { return &text_; }
    // Did one come back?
    explicit operator bool() const { return text_ != nullptr; }
    // Never null.
    const char* text() const { return text_ == nullptr ? "" : text_; }
    // Null where none came back, or its copy could not be made.
    const char* copy() const { return text_; }

  private:
    char* text_ = nullptr;
};
