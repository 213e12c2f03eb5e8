// One snapshot of a loop device: planned before the freeze, made inside it, disposed of from its record alone.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backing_copy.h"
#include "loop_device.h"
#include "origin_image.h"

namespace loopfi {

// All that is needed to get rid of a snapshot, in this process or in a later one.
struct SnapshotRecord {
    std::string originDevice;            // "/dev/loop3"
    std::string snapshotDevice;          // "/dev/loop4"; empty while only the file's name is reserved
    std::string file;                    // the snapshot file; empty: there is no snapshot
    FileIdentity identity;               // of that file
    LoopGeometry geometry{};             // how the file is attached, and how the origin's was
    bool isImported = false;             // the file was made elsewhere: it is never ours to delete
    std::optional<OriginImage> image{};  // the origin's file when it was prepared; older records lack it

    bool operator==(const SnapshotRecord&) const = default;

    // One "key value" line per field. Backslashes and line breaks in names are escaped.
    std::string toText() const;
    // Nothing when it is not such a text, or lacks one of the first five fields; an image that is not told whole counts
    // as not told.
    static std::optional<SnapshotRecord> fromText(const std::string& text);
};

// Thread: one at a time. Errors: as in backing_copy.h. What a plan reserved goes with it; what it made stays.
class SnapshotPlan {
  public:
    // id: the snapshot's, of letters, digits and '-'.
    SnapshotPlan(LoopStatus origin, std::string id) : origin_(std::move(origin)), id_(std::move(id)) {}

    // Before the freeze: reserves the name, makes sure of a free loop device, measures.
    void prepare();
    const std::string& id() const { return id_; }
    const CopyForecast& forecast() const { return forecast_; }

    // Inside the freeze: copies and attaches. After a failure neither file nor device is left, and it may be called
    // again.
    void make(Clock::time_point deadline);

    // Gives the reserved name back; make reserves it again.
    void release() { reserved_.reset(); }

    // What there is: the reserved file after prepare, the snapshot after make, nothing after a failure.
    const SnapshotRecord& record() const { return record_; }

  private:
    BackingCopy reserve();

    LoopStatus origin_;
    std::string id_;
    std::optional<BackingCopy> reserved_;
    CopyForecast forecast_;
    OriginImage image_;
    SnapshotRecord record_;
};

// Prepares plans whose file systems are frozen together for `budget`. Refuses when the measured time, with a safety
// factor of 3, does not fit it.
void prepareTogether(const std::vector<SnapshotPlan*>& plans, std::chrono::milliseconds budget);

// Makes all of them or none: after a failure those already made are disposed of and the others' names given back; where
// that fails too, the error says so behind the first cause.
void makeTogether(const std::vector<SnapshotPlan*>& plans, Clock::time_point deadline);

// Detaches every loop device over the snapshot's file and deletes the file, unless that was imported. What is gone
// already is no error, nor is an empty record. A device in use: std::system_error with EBUSY, and the file stays.
void disposeSnapshot(const SnapshotRecord& record);

// What can be told without a record, after a crash: where the snapshot `id` of the device lies, or, for the device of a
// snapshot, that snapshot itself (`id` may be empty then). An empty record: nothing. disposeSnapshot still asks the
// file.
SnapshotRecord findSnapshot(const LoopStatus& device, std::string_view id);

}  // namespace loopfi
