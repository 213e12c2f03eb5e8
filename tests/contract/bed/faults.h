// What the runtime refuses. The functions are defined by the test program, which the loader asks first, and hand every
// call on that is not refused; openings of the mount table are reported to the host (host.h) on the way.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bed {

struct Faults {
    std::string noObjidFor = {};       // znfi_get_objid answers null for this name
    int noBufferAtCall = 0;            // the n-th znfi_alloc_buf answers null
    bool noProviderNode = false;       // znfi_build_providerlist_node answers null
    bool noPathArray = false;          // malloc of one pointer answers null
    std::string noCopyOf = {};         // strdup of this text answers null
    bool noSemaphore = false;          // semget fails
    bool noStatfs = false;             // statfs fails
    long statfsMagic = 0;              // what statfs says the superblock magic is; 0: the truth
    bool noStatvfs = false;            // statvfs fails
    bool noKernelTable = false;        // /proc/mounts cannot be opened
    std::function<void()> raise = {};  // called once, and expected to throw, by the first znfi_ call
};

void setFaults(const Faults& faults);
inline void clearFaults() {
    setFaults({});
}
// Can noPathArray and noCopyOf be had? Not where a sanitizer owns malloc.
bool canRefuseMemory();

// Counts the allocations of this thread from now on and refuses the nth (from 1); what the bed itself needs on the way
// does not count. 0 ends it. wasMemoryRefused: has that allocation been asked for?
void refuseMemoryAt(int nth);
bool wasMemoryRefused();

// The directories that rmdir was called with since forgetRemovals.
const std::vector<std::string>& directoriesRemoved();
void forgetRemovals();

// Is the bed itself at work, in a function that a library called? What it allocates is not the library's.
bool isAtWork();

}  // namespace bed
