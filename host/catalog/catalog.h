// What tarnctl remembers of its snapshots, so that everything it did can be undone after it was killed at any point.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/catalog/database.h"
#include "host/catalog/records.h"
#include "host/report/failure.h"

namespace tarnctl {

inline constexpr const char* kDefaultCatalogFile = "/var/lib/tarnfi/catalog.db";

// How an act ended. An act whose outcome is not known (time-out, killed, unexpected) stays intended: what it was meant
// to do is looked for and undone.
enum class StepOutcome { kDone, kFailed, kUnknown };

struct StepResult {
    StepKey step;
    StepOutcome outcome = StepOutcome::kDone;
    std::string detail;  // error text, else empty
};

struct WindowResult {
    std::vector<StepResult> steps;
    Consistency consistency = Consistency::kUndecided;
    std::optional<std::int64_t> windowNs;
};

// The order that makes a record worth something: intend, act, finish; to undo: undo, undone. `intend` and
// `windowIntent` are on the disk when they return; so is every other write.
//
// Between a window's intent and its outcome the file system may be frozen, and waiting for a disk can be waiting for
// ourselves. The caller freezes only after `windowIntent` returned, thaws before `windowOutcome`, and in between
// neither writes nor opens or closes a catalog; what it tries to write is refused.
//
// Failures: kNotFound for an id, node or step that is not there, kBusy after 10 s behind another process, kUnsupported
// for a write inside a window, else kFailed; their subject is the catalog's file or the id. A failed write has changed
// nothing. Move-only; one thread at a time; several processes may have the same file open.
class Catalog {
  public:
    // Creates folder, file and tables where they are missing; see prepareCatalogFile and migrate for what is refused.
    static Result<Catalog> open(const std::string& file = kDefaultCatalogFile);

    // The file and the two that SQLite keeps beside it. None of them may lie on a file system that is to be frozen.
    std::vector<std::string> files() const;

    // A new id, in state kMaking. Ids ascend with every snapshot of a catalog, also when the clock was set back.
    // consistency: of a snapshot that was cut elsewhere; one that is made here gets it from its window.
    Result<SnapshotRecord> createSnapshot(const Origin& origin, Consistency consistency = Consistency::kUndecided);
    Result<SnapshotRecord> snapshot(const std::string& id) const;
    Result<std::vector<SnapshotRecord>> snapshots() const;  // all states, oldest first
    Status setState(const std::string& id, SnapshotState state);
    // Removes the record with its nodes and steps; only of a snapshot that is kGone, else kUnsupported.
    Status forget(const std::string& id);

    Result<std::int64_t> addNode(const std::string& snapshotId, const NewNode& node);  // the node's id
    Status writeBlob(std::int64_t nodeId, const Blob& blob);                           // replaces
    // The snapshot's nodes in this role exist no more; none there is fine.
    Status dropNodes(const std::string& snapshotId, NodeRole role);
    Result<std::vector<NodeRecord>> nodes(const std::string& snapshotId) const;        // in the order they were added

    // Before the act. `undo` must be JSON.
    Result<StepKey> intend(const std::string& snapshotId, const StepIntent& intent);
    // After the act, once per step: a step that is not intended any more is kNotFound.
    Status finish(const StepResult& result);
    // All acts of a window as one intent, in their order; opens the window. A name that an act will give something must
    // be reserved in its undo data, for nobody can write it down later.
    Result<std::vector<StepKey>> windowIntent(const std::string& snapshotId, const std::vector<StepIntent>& intents);
    // After the thaw, whatever happened, all of it or nothing; closes the window even when it cannot be written.
    Status windowOutcome(const std::string& snapshotId, const WindowResult& result);
    bool isWindowOpen() const { return isWindowOpen_; }

    // Its effect is known to be gone. A second time is harmless.
    Status undone(const StepKey& step);
    // Undoing failed: kept beside the step, whose state stays.
    Status noteUndoFailure(const StepKey& step, const std::string& detail);
    Result<std::vector<StepRecord>> steps(const std::string& snapshotId) const;  // in their order
    Result<std::vector<StepRecord>> stepsToUndo(
        const std::string& snapshotId) const;  // intended and done, newest first

  private:
    explicit Catalog(Database database) : database_(std::move(database)) {}
    Failure notFound(std::string_view what, const std::string& subject) const;
    Result<Transaction> write() const;
    Status commitOneChange(Transaction& transaction, Statement& statement, std::string_view what,
                           const std::string& subject);
    Result<StepKey> insertIntent(const std::string& snapshotId, const StepIntent& intent);
    Status storeResult(const StepResult& result);
    Result<std::vector<StepRecord>> readSteps(Sql sql, const std::string& snapshotId) const;

    Database database_;
    bool isWindowOpen_ = false;
};

}  // namespace tarnctl
