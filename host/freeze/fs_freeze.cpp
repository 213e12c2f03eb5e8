#include "host/freeze/fs_freeze.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "host/freeze/held_directory.h"

namespace tarnctl {
namespace {

int callFreeze(int fd) {
    return ioctl(fd, FIFREEZE, 0) == 0 ? 0 : errno;
}

int callThaw(int fd) {
    return ioctl(fd, FITHAW, 0) == 0 ? 0 : errno;
}

bool isPlainPathCharacter(char c) {
    const std::string_view plain = "/._-+,:@%";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           plain.find(c) != std::string_view::npos;
}

std::string quotedForShell(std::string_view text) {
    std::string quoted = "'";
    bool isPlain = !text.empty();
    for (const char c : text) {
        isPlain = isPlain && isPlainPathCharacter(c);
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return isPlain ? std::string(text) : quoted + "'";
}

}  // namespace

FreezeAnswer freezeFs(int fd) {
    const int error = callFreeze(fd);
    switch (error) {
        case 0:
            return {FreezeOutcome::kDone, 0};
        case EBUSY:
            return {FreezeOutcome::kAlreadyFrozen, error};
        case EOPNOTSUPP:
            return {FreezeOutcome::kCannotFreeze, error};
        default:
            return {FreezeOutcome::kFailed, error};
    }
}

ThawAnswer thawFs(int fd) {
    const int error = callThaw(fd);
    switch (error) {
        case 0:
            return {ThawOutcome::kDone, 0};
        case EINVAL:
            return {ThawOutcome::kWasNotFrozen, error};
        default:
            return {ThawOutcome::kFailed, error};
    }
}

FrozenAnswer isFrozen(int fd) {
    const FreezeAnswer second = freezeFs(fd);
    if (second.outcome == FreezeOutcome::kAlreadyFrozen) {
        return {FrozenProof::kFrozen, second.error};
    }
    if (second.outcome == FreezeOutcome::kCannotFreeze) {
        return {FrozenProof::kNotFrozen, second.error};
    }
    if (second.outcome == FreezeOutcome::kFailed) {
        return {FrozenProof::kUnknown, second.error};
    }
    const ThawAnswer takenBack = thawFs(fd);
    if (takenBack.outcome == ThawOutcome::kDone || takenBack.outcome == ThawOutcome::kWasNotFrozen) {
        return {FrozenProof::kNotFrozen, takenBack.error};
    }
    return {FrozenProof::kLeftFrozen, takenBack.error};
}

int syncFs(int fd) {
    return syncfs(fd) == 0 ? 0 : errno;
}

Result<ThawAnswer> thawMountPoint(const std::string& mountPoint) {
    auto directory = HeldDirectory::open(mountPoint);
    if (!directory) {
        return directory.failure();
    }
    return thawFs(directory->fd());
}

std::string thawCommand(std::string_view mountPoint, std::string_view fsType) {
    const std::string command = fsType == "xfs" ? "/usr/sbin/xfs_freeze -u " : "/usr/sbin/fsfreeze -u ";
    return command + quotedForShell(mountPoint);
}

}  // namespace tarnctl
