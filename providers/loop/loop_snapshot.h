// One snapshot of a loop device: planned before the freeze, made inside it, disposed of from its record alone.
#pragma once

#include <optional>
#include <string>

#include "backing_copy.h"
#include "loop_device.h"

namespace loopfi {

// All that is needed to get rid of a snapshot, in this process or in a later one.
struct SnapshotRecord {
    std::string originDevice;    // "/dev/loop3"
    std::string snapshotDevice;  // "/dev/loop4"; empty while only the file's name is reserved
    std::string file;            // the snapshot file; empty: there is no snapshot
    FileIdentity identity;       // of that file

    bool operator==(const SnapshotRecord&) const = default;

    // One "key value" line per field. Backslashes and line breaks in names are escaped.
    std::string toText() const;
    // Nothing when it is not such a text, or lacks a field.
    static std::optional<SnapshotRecord> fromText(const std::string& text);
};

// Thread: one at a time. Errors: as in backing_copy.h. What a plan reserved goes with it.
class SnapshotPlan {
  public:
    SnapshotPlan(LoopStatus origin, std::string id) : origin_(std::move(origin)), id_(std::move(id)) {}

    // Before the freeze: reserves the name, makes sure of a free loop device, measures. The record names the reserved
    // file.
    SnapshotRecord prepare();
    const CopyForecast& forecast() const { return forecast_; }

    // Inside the freeze: copies and attaches. After a failure neither file nor device is left, and it may be called
    // again.
    SnapshotRecord make(Clock::time_point deadline);

  private:
    SnapshotRecord recordOf(const BackingCopy& copy) const;

    LoopStatus origin_;
    std::string id_;
    std::optional<BackingCopy> reserved_;
    CopyForecast forecast_;
};

// Detaches every loop device over the snapshot's file and deletes the file. What is gone already is no error, nor is an
// empty record. A device in use: std::system_error with EBUSY, and the file stays.
void disposeSnapshot(const SnapshotRecord& record);

}  // namespace loopfi
