// A snapshot written back over the file that it was taken from, where the origin's loop device shows it.
//
// Everything that can refuse is looked at by `check`, which changes nothing and may run while the origin is mounted,
// and once more by `run` before the first byte is changed. What `run` was killed in is half written; running it again
// makes it whole. Thread: one at a time. Errors: std::system_error (EBUSY: somebody uses it) and std::runtime_error (a
// refusal), both naming the subject.
#pragma once

#include <string>
#include <vector>

#include "descriptor.h"
#include "loop_snapshot.h"
#include "range_write.h"

namespace loopfi {

class OriginRestore {
  public:
    // Refused: a record that does not tell what the origin was, a snapshot file that is missing, of another identity or
    // mounted for writing; a backing file that is missing, replaced, grown, shrunk or may not be written; more than one
    // loop device over it, another offset or size limit, a read-only device, a device that stands below another one; no
    // room. Where no loop device is attached to the backing file, one is for as long as this object lives or somebody
    // uses it.
    static OriginRestore check(const SnapshotRecord& record);

    // The origin's device, which may have another number than the recorded one. It keeps its number while this lives.
    const std::string& device() const { return device_; }

    // Refused as well: a device that is mounted, or held by somebody who does not let go within two seconds. Returns
    // when all of it is on the disk.
    void run();
    // Whether `run` may have changed a byte.
    bool hasBegun() const { return hasBegun_; }

  private:
    OriginRestore() = default;
    void openCopy(const SnapshotRecord& record);
    void openImage(const SnapshotRecord& record);
    void findDevice(const SnapshotRecord& record);
    void checkDevice() const;
    Extent shownPart() const;  // of the file, by the device
    void checkSpace();
    Descriptor takeDevice() const;
    void write();

    OriginImage shape_;
    LoopGeometry geometry_;
    std::string imagePath_;
    std::string copyPath_;
    FileIdentity copyIdentity_;
    FileIdentity imageIdentity_;
    Descriptor directory_;
    Descriptor copy_;
    Descriptor image_;
    Descriptor held_;  // the device
    std::string device_;
    WriteMethod method_ = WriteMethod::kCopy;
    bool mayShare_ = false;
    bool hasBegun_ = false;
};

}  // namespace loopfi
