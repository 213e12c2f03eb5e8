// The freeze window: freeze, make the snapshot, thaw. The only part of the road in which the file system stands still.
//
// Inside it the host reads no mount table, writes no log and no database: the intent is in the catalog before, the
// outcome is written after. One window per object; one thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/freeze/held_directory.h"
#include "host/guard/freeze_guard.h"
#include "host/provider/node.h"
#include "host/report/failure.h"

namespace tarnctl {

struct WindowReport {
    std::string snapshot;    // the snapshot's object name: its device
    bool isBroken = false;   // somebody thawed before us: the snapshot is not of a frozen file system
    bool wasFrozen = false;  // the freeze was completed and proved
    // Somebody froze it, and whether that was our failed command cannot be told: it stays frozen, also when the road is
    // undone; the failure is kMayBeFrozen.
    bool isNobodysFreeze = false;
    std::chrono::nanoseconds
        still{};  // from the start of the freeze call to the end of the thaw: writers waited at most this
    std::chrono::nanoseconds made{};  // of it, the volume layer's own time
    std::optional<Failure>
        failure;  // why there is no snapshot to use; the file system is thawed unless it says kMayBeFrozen
};

class Window {
  public:
    // All borrowed. The guard is armed; both nodes are prepared and have joined the session.
    Window(Node& fileSystem, Node& volume, const HeldDirectory& directory, FreezeGuard& guard, std::string fsType);

    // Freezes with the provider where the node has a quiesce record, otherwise by the host's own call. Whatever
    // happens, the guard is released when this returns and nothing that we froze is left frozen, unless a thaw was
    // refused: the failure says so, and the guard is to be dropped, for it then tries by itself.
    WindowReport run();

  private:
    using Clock = std::chrono::steady_clock;
    enum class Ended { kFrozen, kNotFrozen };

    bool freezesByProvider() { return fileSystem_.record()->quiesce != nullptr; }
    Ended freeze();
    Ended freezeByProvider();
    Ended freezeByHost();
    void lookForForeignFreeze();
    void tellForeignFreeze();
    void thawAfterUnknownOutcome();
    bool proveFrozen();
    void make();
    void readSnapshotName(znfi_objid** ids, int count);
    void thaw();
    ThawOutcome thawByProvider();
    void mayBeFrozen(const std::string& why);
    void fail(Failure failure);
    void closeReports();

    Node& fileSystem_;
    Node& volume_;
    const HeldDirectory& directory_;
    FreezeGuard& guard_;
    std::string fsType_;
    WindowReport result_;
    Clock::time_point began_;
    int makeStatus_ = ZFI_OK;
    const char* makeEscaped_ = nullptr;
    const char* thawEscaped_ = nullptr;
    bool hasProviderFailed_ = false;  // the freeze
    bool isFoundFrozen_ = false;      // after that
    bool isThawOwed_ = false;         // a thaw of ours was refused
};

}  // namespace tarnctl
