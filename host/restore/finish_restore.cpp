#include "host/restore/finish_restore.h"

#include <fmt/format.h>

namespace tarnctl {
namespace {

void noteBeside(Failure& cause, Status status) {
    if (!status) {
        cause.undoing.push_back(std::move(status.failure()));
    }
}

}  // namespace

Result<std::string> writeBack(Catalog& catalog, VolumeRestore& volume, const StepKey& key, bool wasHalf) {
    const auto staysUnmounted = [&](const char* how) {
        return fmt::format("; the origin {} {} and stays unmounted. Finish it with: tarnctl restore {}",
                           volume.recordedDevice(), how, key.snapshot);
    };
    auto device = volume.write();
    if (device) {
        Status noted = catalog.finish({key, StepOutcome::kDone, {}});
        if (!noted) {
            noted.failure().cause += staysUnmounted("is restored, which its record does not say,");
        }
        return noted ? std::move(device) : Result<std::string>(std::move(noted.failure()));
    }
    Failure& failure = device.failure();
    if (volume.isHalf() || wasHalf) {
        failure.cause += staysUnmounted("is half restored");
        noteBeside(failure, catalog.noteUndoFailure(key, failure.cause));
    } else if (Status noted = catalog.finish({key, StepOutcome::kFailed, failure.cause}); !noted) {
        failure.cause += staysUnmounted("is as it was, which its record does not say,");
        failure.undoing.push_back(std::move(noted.failure()));
    }
    return device;
}

Status FinishRestore::write(const StepRecord& restore) {
    auto volume = VolumeRestore::of(providers_, catalog_, restore.key.snapshot);
    if (!volume) {
        return volume.failure();
    }
    auto written = writeBack(catalog_, *volume, restore.key, true);
    if (!written) {
        return written.failure();
    }
    // The device may be ours alone: it is mounted before we let go of it.
    auto unfinished = unfinishedRestoreOf(catalog_, restore.key.snapshot);
    if (!unfinished || !unfinished->disable) {
        return unfinished ? Status(Done{}) : Status(unfinished.failure());
    }
    std::vector<std::string> warnings;
    auto mounted = mount(*unfinished->disable, warnings);
    return mounted ? Status(Done{}) : Status(mounted.failure());
}

Result<std::string> FinishRestore::mount(const StepRecord& disable, std::vector<std::string>& warnings) {
    auto unfinished = unfinishedRestoreOf(catalog_, disable.key.snapshot);
    if (!unfinished || unfinished->restore) {
        return unfinished ? Failure{ExitCode::kFailed, "mount the origin", disable.key.snapshot,
                                    "it is half restored: finish that first"}
                          : unfinished.failure();
    }
    auto undo = disableUndoOf(disable);
    if (!undo) {
        return undo.failure();
    }
    auto access = OriginAccess::of(providers_, *undo);
    if (!access) {
        return access.failure();
    }
    auto volume = VolumeRestore::of(providers_, catalog_, disable.key.snapshot);
    // Where the origin is attached now, held until it is mounted; where that cannot be told, as it was.
    const auto found = volume ? volume->check() : Result<std::string>(undo->device);
    const std::string device = found ? *found : undo->device;
    Status mounted = access->enable(device, warnings);
    return mounted ? Result<std::string>(device) : Result<std::string>(mounted.failure());
}

}  // namespace tarnctl
