// A snapshot file that was made earlier, or on another host, attached again and detached without being deleted.
// Thread: any; no state. Errors: std::system_error naming the subject; std::runtime_error for a refusal.
#pragma once

#include <string>

#include "loop_snapshot.h"

namespace loopfi {

// Attaches a snapshot file, writable (its log has to be replayed at the mount), with the recorded geometry.
// named: the file, a path without symbolic links; it must not bear the mark of another snapshot than the recorded one.
// Empty: the recorded file, which must still be the one that was recorded. reference: kept with the device; a file that
// is attached under it already stays so. Answers the record of what is attached. EBUSY when the file is attached in any
// other way: two devices over one file destroy what is in it. ENOENT when there is no such file.
SnapshotRecord attachSnapshot(const SnapshotRecord& record, const std::string& named, const std::string& reference);

// The recorded file is there and is the one that was recorded. ENOENT when there is none; std::runtime_error when
// another one lies there.
void checkSnapshotFile(const SnapshotRecord& record);

// Detaches every device over the recorded file; the file stays. EBUSY: one is in use.
void detachSnapshot(const SnapshotRecord& record);

// Detaches every device that was attached under the reference, which must not be empty. EBUSY: one is in use.
void detachReferenced(const std::string& reference);

}  // namespace loopfi
