// The host's own freeze and thaw: the FIFREEZE and FITHAW ioctls on a held directory (any open descriptor of the file
// system serves; O_PATH does not). All functions need CAP_SYS_ADMIN, are thread-safe and take a borrowed descriptor.
//
// What the kernel promises: it never thaws by itself; a freeze returns when the file system is frozen (about 30 ms,
// longer while dirty data is written); killing the caller does not cancel a freeze that has begun; any privileged
// process may thaw. Since 6.8 a freeze by the block layer (device mapper) nests with one from here: a thaw then
// succeeds although the file system stays frozen until the other side thaws too.
#pragma once

#include <string>
#include <string_view>

#include "host/report/failure.h"

namespace tarnctl {

enum class FreezeOutcome {
    kDone,           // frozen by this call: the caller owes a thaw
    kAlreadyFrozen,  // EBUSY: somebody else's freeze; it must not be thawed by the caller
    kCannotFreeze,   // EOPNOTSUPP: this type of file system has no freeze (NFS, tmpfs)
    kFailed,         // any other error: not frozen by this call
};

enum class ThawOutcome {
    kDone,          // this call ended the freeze
    kWasNotFrozen,  // EINVAL: thawed before, a freeze that has begun but is not complete, or a type without freeze
    kFailed,        // any other error: still frozen where it was frozen
};

enum class FrozenProof {
    kFrozen,      // a second freeze was refused with EBUSY
    kNotFrozen,   // it was not (the freeze of the proof has been taken back), or cannot be
    kLeftFrozen,  // it was not, and the freeze of the proof could not be taken back: report kMayBeFrozen
    kUnknown,     // the kernel answered something else
};

struct FreezeAnswer {
    FreezeOutcome outcome = FreezeOutcome::kFailed;
    int error = 0;  // errno, 0 when done
};

struct ThawAnswer {
    ThawOutcome outcome = ThawOutcome::kFailed;
    int error = 0;  // errno, 0 when done
};

struct FrozenAnswer {
    FrozenProof proof = FrozenProof::kUnknown;
    int error = 0;  // errno of the deciding call
};

// Blocks until frozen; not interrupted by signals, SIGKILL included.
FreezeAnswer freezeFs(int fd);

// Returns at once in the ordinary case; an uninterruptible wait where the kernel is busy mounting or unmounting it.
ThawAnswer thawFs(int fd);

// Proves that the file system is frozen, by a second freeze that must be refused. That is cheap while it holds (one
// refused call). Where it does not hold the proof itself freezes for an instant: writers stall for about 30 ms, and a
// caller that dies in between leaves it frozen. So ask only while a guard is in *freezing* or *frozen*: the guard of a
// dead host thaws that too. Races: a foreign freeze that comes between is refused for that instant; a foreign thaw (or
// the guard's) that comes between is answered kNotFrozen. kFrozen says that a freeze is in place, not whose, and not
// that it was in place without a break: compare the guard's report and the answer of the closing thaw for that.
// Before 6.8 EBUSY may also mean a freeze that has begun and is not complete: ask after the freeze has returned.
FrozenAnswer isFrozen(int fd);

// Writes the dirty data out, so that the freeze that follows is short. Answers 0 or errno (data that could not be
// written).
int syncFs(int fd);

// Opens the mount point by its path and thaws it: for the recovery of a file system that an earlier host left frozen.
Result<ThawAnswer> thawMountPoint(const std::string& mountPoint);

// The command that an administrator types to thaw it, for reports with kMayBeFrozen: "/usr/sbin/xfs_freeze -u PATH" for
// xfs, "/usr/sbin/fsfreeze -u PATH" otherwise; the path is quoted for a shell where it needs to be.
std::string thawCommand(std::string_view mountPoint, std::string_view fsType);

}  // namespace tarnctl
