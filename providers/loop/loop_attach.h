// Attaching a file to a free loop device, and detaching it again without ever touching a device that meanwhile serves
// somebody else. Privilege: CAP_SYS_ADMIN. Thread: any; no state. Errors: std::system_error naming the subject.
#pragma once

#include <string>

#include "descriptor.h"
#include "loop_device.h"

namespace loopfi {

// Makes sure that a free loop device exists (the kernel creates one where needed), so that the attaching itself is
// quick. It reserves nothing: somebody else may take that device, attachFile then finds another one.
void provideFreeDevice();

// Attaches the file open for writing as `file` to a free device, writable, with the offset, size limit and block size
// of `like`. Not detached by itself on the last close. Returns the device's name, "/dev/loop4". `reference` is a text
// of which the kernel keeps the first 63 bytes with the device, so that it is found again: the file's path, or who
// attached it.
std::string attachFile(int file, const std::string& reference, const LoopGeometry& like);

// The same, but the device goes by itself with its last user; `holder` is the first one.
std::string attachHeld(int file, const std::string& reference, const LoopGeometry& like, Descriptor& holder);

enum class Detached {
    kNow,     // it was attached to the file, and no longer is
    kBefore,  // it does not exist, or is attached to nothing or to another file: left alone
};

// Detaches `device` if, and only if, it is attached to `file`. Mounted or otherwise held devices fail with EBUSY and
// stay exactly as they were; a device that is merely being looked at (by a prober) is waited for, up to two seconds.
Detached detachFile(const std::string& device, const FileIdentity& file);

}  // namespace loopfi
