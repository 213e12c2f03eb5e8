#include "host/road/window.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <thread>

#include "host/freeze/fs_freeze.h"
#include "host/report/system_failure.h"
#include "znfi.h"

namespace tarnctl {
namespace {

// Lines of the trace wait in memory while this lives.
struct HeldTrace {
    HeldTrace() { znfi_trace_hold(); }
    HeldTrace(const HeldTrace&) = delete;
    HeldTrace& operator=(const HeldTrace&) = delete;
    ~HeldTrace() { znfi_trace_release(); }
};

// Did the freeze command surely not freeze? It ran and failed, or never started. Everything else (killed, timed out, an
// unexpected end) leaves the outcome open: a freeze cannot be cancelled by killing its command.
bool isSurelyNotFrozen(const CallOutcome& outcome) {
    constexpr std::array<std::string_view, 4> kOpen{"ZFI_EXEC_PIPE_READ_TIMEOUT", "ZFI_EXEC_PIPE_CMD_KILLED",
                                                    "ZFI_EXEC_PIPE_ERROR_UNEXPECTED",
                                                    "ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED"};
    if (!outcome.escaped.empty()) {
        return false;
    }
    for (const ProviderMessage& message : outcome.messages) {
        for (const std::string& argument : message.arguments) {
            for (std::string_view open : kOpen) {
                if (argument == open) {
                    return false;
                }
            }
        }
    }
    return true;
}

}  // namespace

Window::Window(Node& fileSystem, Node& volume, const HeldDirectory& directory, FreezeGuard& guard, std::string fsType)
    : fileSystem_(fileSystem), volume_(volume), directory_(directory), guard_(guard), fsType_(std::move(fsType)) {}

WindowReport Window::run() {
    fileSystem_.provider().beginReports();
    volume_.provider().beginReports();
    if (Status announced = guard_.announceFreezing(); !announced) {
        fail(announced.failure());
        if (Status released = guard_.release(); !released) {
            fail(released.failure());
        }
        return std::move(result_);
    }
    {
        HeldTrace held;
        began_ = Clock::now();
        if (freeze() == Ended::kFrozen) {
            if (Status told = guard_.tellFrozen(); !told) {
                fail(told.failure());
            } else {
                make();
            }
            thaw();
        }
    }
    closeReports();
    // A guard that is dropped without a release goes on thawing.
    if (Status released = isThawOwed_ ? Status(Done{}) : guard_.release(); !released && !result_.failure) {
        fail(released.failure());
    }
    result_.isBroken = result_.wasFrozen && guard_.window().state() != WindowState::kUnbroken;
    return std::move(result_);
}

Window::Ended Window::freeze() {
    if ((freezesByProvider() ? freezeByProvider() : freezeByHost()) != Ended::kFrozen) {
        return Ended::kNotFrozen;
    }
    if (!proveFrozen()) {
        return Ended::kNotFrozen;
    }
    result_.wasFrozen = true;
    return Ended::kFrozen;
}

Window::Ended Window::freezeByProvider() {
    Provider& provider = fileSystem_.provider();
    const char* escaped = nullptr;
    const int status = provider.callQuietly(
        [&](const EntryPoints& entry) { return entry.quiesce(fileSystem_.record()->quiesce, nullptr, 0, nullptr); },
        escaped);
    if (status == ZFI_OK && escaped == nullptr) {
        return Ended::kFrozen;
    }
    CallOutcome outcome;
    outcome.status = status;
    outcome.escaped = escaped == nullptr ? "" : escaped;
    provider.endReports(outcome);
    fail(failureOf(provider, outcome, "freeze", fileSystem_.name()));
    hasProviderFailed_ = true;
    if (isSurelyNotFrozen(outcome)) {
        lookForForeignFreeze();
    } else {
        thawAfterUnknownOutcome();
    }
    return Ended::kNotFrozen;
}

Window::Ended Window::freezeByHost() {
    const FreezeAnswer answer = freezeFs(directory_.fd());
    switch (answer.outcome) {
        case FreezeOutcome::kDone:
            return Ended::kFrozen;
        case FreezeOutcome::kAlreadyFrozen:
            fail({ExitCode::kBusy, "freeze", fileSystem_.name(), "somebody else has frozen this file system already"});
            break;
        case FreezeOutcome::kCannotFreeze:
            fail({ExitCode::kUnsupported, "freeze", fileSystem_.name(),
                  "the kernel says that it cannot freeze this file system: a copy of a moving image would be "
                  "worthless"});
            break;
        case FreezeOutcome::kFailed:
            fail({ExitCode::kFailed, "freeze", fileSystem_.name(), std::strerror(answer.error)});
            break;
    }
    return Ended::kNotFrozen;
}

// A command that failed should not have frozen: where the file system is frozen all the same, it is not thawed.
void Window::lookForForeignFreeze() {
    const FrozenAnswer answer = isFrozen(directory_.fd());
    if (answer.proof == FrozenProof::kFrozen) {
        isFoundFrozen_ = true;
    } else if (answer.proof == FrozenProof::kLeftFrozen && thawFs(directory_.fd()).outcome == ThawOutcome::kFailed) {
        mayBeFrozen("it cannot be thawed");
    }
}

// Whose freeze it is only the command can tell: one that was refused as busy met somebody else's.
void Window::tellForeignFreeze() {
    const auto& lines = result_.failure->traceLines;
    const std::string refused = systemErrorText(EBUSY);
    if (std::any_of(lines.begin(), lines.end(),
                    [&](const std::string& line) { return line.find(refused) != std::string::npos; })) {
        result_.failure->code = ExitCode::kBusy;
        result_.failure->cause += "; somebody else has frozen this file system already";
        return;
    }
    result_.isNobodysFreeze = true;
    result_.failure->code = ExitCode::kMayBeFrozen;
    result_.failure->cause += fmt::format(
        "; {} is frozen, and whether by this command or by somebody else cannot be told: it was left so. Unless "
        "somebody else needs it frozen, thaw it with: {}",
        fileSystem_.name(), thawCommand(fileSystem_.name(), fsType_));
}

// The command may have frozen it, and its freeze may still be on its way through the kernel, so one early answer "was
// not frozen" proves nothing: ask until a thaw succeeds or a freeze would have completed long ago.
void Window::thawAfterUnknownOutcome() {
    constexpr auto kLongest = std::chrono::seconds(2);
    constexpr auto kPause = std::chrono::milliseconds(50);
    for (const auto deadline = Clock::now() + kLongest; Clock::now() < deadline; std::this_thread::sleep_for(kPause)) {
        const ThawAnswer answer = thawFs(directory_.fd());
        if (answer.outcome == ThawOutcome::kDone) {
            return;
        }
        if (answer.outcome == ThawOutcome::kFailed) {
            mayBeFrozen(std::strerror(answer.error));
            return;
        }
    }
}

bool Window::proveFrozen() {
    const FrozenAnswer answer = isFrozen(directory_.fd());
    switch (answer.proof) {
        case FrozenProof::kFrozen:
            return true;
        case FrozenProof::kNotFrozen:
            fail({ExitCode::kFailed, "freeze", fileSystem_.name(),
                  "the freeze was reported as done, but this file system is not frozen"});
            return false;
        case FrozenProof::kLeftFrozen:
        case FrozenProof::kUnknown:
            break;
    }
    fail({ExitCode::kFailed, "freeze", fileSystem_.name(),
          fmt::format("that it is frozen could not be proved: {}", std::strerror(answer.error))});
    if (thawFs(directory_.fd()).outcome == ThawOutcome::kFailed) {
        mayBeFrozen("it cannot be thawed either");
    }
    return false;
}

void Window::make() {
    znfi_objid** ids = nullptr;
    int count = 0;
    const auto start = Clock::now();
    makeStatus_ = volume_.provider().callQuietly(
        [&](const EntryPoints& entry) {
            return entry.make(volume_.split(), const_cast<char*>(volume_.split()->sessionId), nullptr, 0, &ids, &count);
        },
        makeEscaped_);
    result_.made = Clock::now() - start;
    if (makeStatus_ == ZFI_OK && makeEscaped_ == nullptr) {
        readSnapshotName(ids, count);
    }
    znfi_free_buf(ids, static_cast<size_t>(count > 0 ? count : 0) * sizeof(znfi_objid*));
}

// Status 0 with a null array or slot is a failure: the snapshot cannot be reached.
void Window::readSnapshotName(znfi_objid** ids, int count) {
    if (ids != nullptr && count == 1 && ids[0] != nullptr) {
        result_.snapshot = ids[0]->name;
    }
}

void Window::thaw() {
    const FrozenAnswer before = isFrozen(directory_.fd());
    const bool heldUntilNow = before.proof == FrozenProof::kFrozen;
    ThawOutcome outcome = ThawOutcome::kWasNotFrozen;
    if (heldUntilNow || before.proof == FrozenProof::kUnknown) {
        outcome = freezesByProvider() ? thawByProvider() : thawFs(directory_.fd()).outcome;
    } else if (before.proof == FrozenProof::kLeftFrozen) {
        outcome = thawFs(directory_.fd()).outcome;
    }
    const auto thawedAt = Clock::now();
    if (outcome != ThawOutcome::kDone && outcome != ThawOutcome::kWasNotFrozen) {
        mayBeFrozen("the thaw failed");
    }
    guard_.noteThaw(heldUntilNow ? outcome : ThawOutcome::kWasNotFrozen, thawedAt);
    result_.still = thawedAt - began_;
}

// The entry point gives no status. A thaw of our own afterwards tells: refused means that the command thawed, success
// means that it had not.
ThawOutcome Window::thawByProvider() {
    fileSystem_.provider().callQuietly(
        [&](const EntryPoints& entry) {
            entry.unquiesce(fileSystem_.record()->quiesce, nullptr, 0);
            return ZFI_OK;
        },
        thawEscaped_);
    const ThawAnswer answer = thawFs(directory_.fd());
    return answer.outcome == ThawOutcome::kWasNotFrozen ? ThawOutcome::kDone : answer.outcome;
}

void Window::closeReports() {
    CallOutcome ofFileSystem;
    fileSystem_.provider().endReports(ofFileSystem);
    if (hasProviderFailed_) {
        result_.failure->traceLines = ofFileSystem.traceLines;  // they were held back as long as it could be frozen
    }
    if (isFoundFrozen_) {
        tellForeignFreeze();
    }
    CallOutcome ofVolume;
    volume_.provider().endReports(ofVolume);
    if (ofVolume.traceLines.empty()) {
        ofVolume.traceLines = ofFileSystem.traceLines;  // one tap for all providers: the first reader took them
    }
    if (!result_.failure && result_.wasFrozen && (makeStatus_ != ZFI_OK || makeEscaped_ != nullptr)) {
        ofVolume.status = makeStatus_;
        ofVolume.escaped = makeEscaped_ == nullptr ? "" : makeEscaped_;
        fail(failureOf(volume_.provider(), ofVolume, "make the snapshot", volume_.name()));
    } else if (!result_.failure && result_.wasFrozen && result_.snapshot.empty()) {
        fail({ExitCode::kFailed, "make the snapshot", volume_.name(),
              volume_.provider().name() + " reported success but named no snapshot"});
    }
}

void Window::mayBeFrozen(const std::string& why) {
    isThawOwed_ = true;
    Failure failure{ExitCode::kMayBeFrozen, "thaw", fileSystem_.name(),
                    fmt::format("{}; {} may still be frozen. Thaw it with: {}", why, fileSystem_.name(),
                                thawCommand(fileSystem_.name(), fsType_))};
    if (result_.failure) {
        result_.failure->code = ExitCode::kMayBeFrozen;
        result_.failure->undoing.push_back(std::move(failure));
    } else {
        result_.failure = std::move(failure);
    }
}

void Window::fail(Failure failure) {
    if (!result_.failure) {
        result_.failure = std::move(failure);
    } else {
        result_.failure->undoing.push_back(std::move(failure));
    }
}

}  // namespace tarnctl
