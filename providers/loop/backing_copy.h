// The copy of a loop device's backing file that becomes the snapshot: "<backing file>.tarnfi-<id>", beside it.
//
// Order: reserve and rehearse before the file system is frozen (both may be slow), take inside the freeze, keep when
// the snapshot stands. Until kept, the destructor deletes the file. Thread: one at a time. Errors: std::system_error
// (operation, subject, errno text) and std::runtime_error (a refusal); after any of them nothing but the reserved
// file exists.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "descriptor.h"
#include "file_identity.h"
#include "sparse_copy.h"

namespace loopfi {

enum class CopyMethod { kClone, kCopy };

struct CopyForecast {
    CopyMethod method = CopyMethod::kCopy;
    std::uint64_t dataBytes = 0;           // without holes; what has to be copied, or is shared
    std::chrono::nanoseconds expected{0};  // how long taking the copy will last, without any margin
};

class BackingCopy {
  public:
    // Opens the backing file, proves that it is `origin`, and creates the empty copy exclusively (mode 0600).
    // `id`: letters, digits and '-'.
    static BackingCopy reserve(const std::string& backingFile, const FileIdentity& origin, std::string_view id);

    BackingCopy(BackingCopy&&) noexcept = default;
    BackingCopy& operator=(BackingCopy&&) = delete;
    ~BackingCopy();

    // Writes the backing file's dirty pages out, so that they are not written inside the freeze, and measures. A clone
    // is tried out whole. Else up to 64 MiB, spread over the data and dropped from memory before, are copied and
    // flushed: the speed of the disk, which a copy larger than memory's share for dirty pages falls back to; small
    // copies will be faster. Refuses when a copy does not fit the free space. The reserved file is empty again
    // afterwards.
    CopyForecast rehearse();

    // Fills the reserved file in the way that the rehearsal found, then gives it the backing file's owner, mode and
    // access list. A copy that is not complete at the deadline fails with ETIMEDOUT; a clone cannot be interrupted.
    void take(CopyMethod method, Clock::time_point deadline);

    const std::string& path() const { return path_; }
    const FileIdentity& identity() const { return identity_; }
    int fd() const { return copy_.get(); }          // open for reading and writing; lives as long as this object
    int originFd() const { return origin_.get(); }  // the backing file, for reading

    // From here on the file stays.
    void keep() { isKept_ = true; }

  private:
    BackingCopy() = default;
    bool tryClone();
    void refuseWithoutSpace(std::uint64_t bytes) const;
    std::chrono::nanoseconds measureCopy(const std::vector<Extent>& extents);
    void copyData(Clock::time_point deadline);
    void mark();
    void inheritAccess();

    Descriptor directory_;
    Descriptor origin_;
    Descriptor copy_;
    std::string originPath_;
    std::string path_;
    FileIdentity identity_;
    bool isKept_ = false;
};

// Where the copy of a backing file lies.
std::string copyPath(const std::string& backingFile, std::string_view id);

// The snapshot file at `path`, as it was recorded; where it was not (a crash came before the record, or the disk has
// another number since), it is known by the mark that reserve gave it, or by being empty and private. Nothing when no
// file lies there. Throws std::runtime_error when another file lies there.
std::optional<FileIdentity> findCopy(const std::string& path, const FileIdentity& recorded);

// The name of the snapshot file as which the open file was made; empty for a file that was not made as one, or lost
// that mark on its way.
std::string markOf(int fd);

// Deletes the file at `path` if it is `identity`. Throws std::system_error when it cannot be deleted.
void deleteCopy(const std::string& path, const FileIdentity& identity);

}  // namespace loopfi
