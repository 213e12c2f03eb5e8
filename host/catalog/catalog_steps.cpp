#include "host/catalog/catalog.h"
#include "host/catalog/rows.h"
#include "host/catalog/wall_clock.h"
#include "host/report/report.h"

namespace tarnctl {
namespace {

std::string subjectOf(const StepKey& step) {
    return step.snapshot + " step " + std::to_string(step.ordinal);
}

StepState stateAfter(StepOutcome outcome) {
    switch (outcome) {
        case StepOutcome::kDone:
            return StepState::kDone;
        case StepOutcome::kFailed:
            return StepState::kFailed;
        case StepOutcome::kUnknown:
            break;
    }
    return StepState::kIntended;
}

// Reads the columns snapshot, ordinal, name, undo, state, detail, intended_ns, finished_ns, undone_ns.
std::optional<StepRecord> stepOf(const Statement& row) {
    const auto state = stepStateNamed(row.text(4));
    if (!state) {
        return std::nullopt;
    }
    return StepRecord{{row.text(0), row.integer(1)}, {row.text(2), row.text(3)}, *state, row.text(5), row.integer(6),
                      row.optionalInteger(7),        row.optionalInteger(8)};
}

}  // namespace

// Inside the caller's transaction.
Result<StepKey> Catalog::insertIntent(const std::string& snapshotId, const StepIntent& intent) {
    // Found out now and not after the act, when nobody could undo it any more.
    if (!Json::accept(intent.undo)) {
        return Failure{ExitCode::kFailed, "write the catalog", snapshotId,
                       "what undoes the step " + intent.name + " is no JSON"};
    }
    Result<Statement> statement = database_.prepare(
        "INSERT INTO steps (snapshot, ordinal, name, undo, state, intended_ns)"
        " SELECT s.id, (SELECT COALESCE(MAX(ordinal), 0) + 1 FROM steps WHERE snapshot = s.id), ?2, ?3, 'intended', ?4"
        " FROM snapshots s WHERE s.id = ?1 RETURNING ordinal");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(snapshotId).bind(intent.name).bind(intent.undo).bind(wallClockNs());
    const Result<bool> row = statement->step();
    if (!row) {
        return row.failure();
    }
    if (!*row) {
        return notFound("snapshot", snapshotId);
    }
    const StepKey key{snapshotId, statement->integer(0)};
    if (Status status = statement->run(); !status) {
        return status.failure();
    }
    return key;
}

Result<StepKey> Catalog::intend(const std::string& snapshotId, const StepIntent& intent) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    const Result<StepKey> key = insertIntent(snapshotId, intent);
    if (!key) {
        return key;
    }
    if (Status status = transaction->commit(); !status) {
        return status.failure();
    }
    return key;
}

Result<std::vector<StepKey>> Catalog::windowIntent(const std::string& snapshotId,
                                                   const std::vector<StepIntent>& intents) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    std::vector<StepKey> keys;
    for (const StepIntent& intent : intents) {
        const Result<StepKey> key = insertIntent(snapshotId, intent);
        if (!key) {
            return key.failure();
        }
        keys.push_back(*key);
    }
    if (Status status = transaction->commit(); !status) {
        return status.failure();
    }
    isWindowOpen_ = true;
    return keys;
}

// Inside the caller's transaction.
Status Catalog::storeResult(const StepResult& result) {
    Result<Statement> statement = database_.prepare(
        "UPDATE steps SET state = ?, detail = ?, finished_ns = ?"
        " WHERE snapshot = ? AND ordinal = ? AND state = 'intended'");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(nameOf(stateAfter(result.outcome))).bind(result.detail).bind(wallClockNs());
    statement->bind(result.step.snapshot).bind(result.step.ordinal);
    if (Status status = statement->run(); !status) {
        return status;
    }
    return database_.changes() == 1 ? Status(Done{}) : notFound("intended step", subjectOf(result.step));
}

Status Catalog::finish(const StepResult& result) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    if (Status status = storeResult(result); !status) {
        return status;
    }
    return transaction->commit();
}

Status Catalog::windowOutcome(const std::string& snapshotId, const WindowResult& result) {
    isWindowOpen_ = false;
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    for (const StepResult& step : result.steps) {
        if (Status status = storeResult(step); !status) {
            return status;
        }
    }
    Result<Statement> statement = database_.prepare("UPDATE snapshots SET consistency = ?, window_ns = ? WHERE id = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(nameOf(result.consistency)).bind(result.windowNs).bind(snapshotId);
    return commitOneChange(*transaction, *statement, "snapshot", snapshotId);
}

Status Catalog::undone(const StepKey& step) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    // The time of the first time stays.
    Result<Statement> statement = database_.prepare(
        "UPDATE steps SET state = 'undone', undone_ns = COALESCE(undone_ns, ?) WHERE snapshot = ? AND ordinal = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(wallClockNs()).bind(step.snapshot).bind(step.ordinal);
    return commitOneChange(*transaction, *statement, "step", subjectOf(step));
}

Status Catalog::noteUndoFailure(const StepKey& step, const std::string& detail) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    Result<Statement> statement = database_.prepare("UPDATE steps SET detail = ? WHERE snapshot = ? AND ordinal = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(detail).bind(step.snapshot).bind(step.ordinal);
    return commitOneChange(*transaction, *statement, "step", subjectOf(step));
}

Result<std::vector<StepRecord>> Catalog::readSteps(Sql sql, const std::string& snapshotId) const {
    Result<Statement> statement = database_.prepare(sql);
    if (!statement) {
        return statement.failure();
    }
    statement->bind(snapshotId);
    return readRows(database_, *statement, stepOf, "a step's state is unknown");
}

Result<std::vector<StepRecord>> Catalog::steps(const std::string& snapshotId) const {
    return readSteps(
        "SELECT snapshot, ordinal, name, undo, state, detail, intended_ns, finished_ns, undone_ns"
        " FROM steps WHERE snapshot = ? ORDER BY ordinal",
        snapshotId);
}

Result<std::vector<StepRecord>> Catalog::stepsToUndo(const std::string& snapshotId) const {
    return readSteps(
        "SELECT snapshot, ordinal, name, undo, state, detail, intended_ns, finished_ns, undone_ns"
        " FROM steps WHERE snapshot = ? AND state IN ('intended', 'done') ORDER BY ordinal DESC",
        snapshotId);
}

}  // namespace tarnctl
