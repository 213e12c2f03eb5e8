#include "host/catalog/catalog.h"

#include <sys/random.h>

#include <algorithm>

#include "host/catalog/catalog_file.h"
#include "host/catalog/rows.h"
#include "host/catalog/schema.h"
#include "host/catalog/snapshot_id.h"
#include "host/catalog/wall_clock.h"

namespace tarnctl {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;

std::uint32_t randomBits() {
    std::uint32_t bits = 0;
    // Cannot fall short for so few bytes; if it ever did, the ascending time still makes the id unique here.
    return getrandom(&bits, sizeof bits, 0) == sizeof bits ? bits : 0;
}

// Reads the columns id, mount_point, device, fs_type, state, consistency, created_ns, window_ns.
std::optional<SnapshotRecord> snapshotOf(const Statement& row) {
    const auto state = snapshotStateNamed(row.text(4));
    const auto consistency = consistencyNamed(row.text(5));
    if (!state || !consistency) {
        return std::nullopt;
    }
    return SnapshotRecord{row.text(0),    {row.text(1), row.text(2), row.text(3)},
                          *state,         *consistency,
                          row.integer(6), row.optionalInteger(7)};
}

// Later than every id so far: a clock that was set back must not put new snapshots before old ones.
Result<std::string> nextId(const Database& database, std::int64_t nowNs) {
    Result<Statement> newest = database.prepare("SELECT MAX(id) FROM snapshots");
    if (!newest) {
        return newest.failure();
    }
    const Result<bool> row = newest->step();
    if (!row) {
        return row.failure();
    }
    const std::int64_t last = millisecondsOfSnapshotId(newest->text(0)).value_or(-1);
    return snapshotId(std::max(nowNs / kNsPerMs, last + 1), randomBits());
}

Result<std::vector<SnapshotRecord>> readSnapshots(const Database& database, Statement& statement) {
    return readRows(database, statement, snapshotOf, "a snapshot's state is unknown");
}

}  // namespace

Result<Catalog> Catalog::open(const std::string& file) {
    const Result<std::string> prepared = prepareCatalogFile(file);
    if (!prepared) {
        return prepared.failure();
    }
    Result<Database> database = Database::open(*prepared);
    if (!database) {
        return database.failure();
    }
    if (Status status = checkCatalog(*database, catalogMigrations()); !status) {
        return status.failure();
    }
    if (Status status = database->useWal(); !status) {
        return status.failure();
    }
    if (Status status = migrate(*database, catalogMigrations()); !status) {
        return status.failure();
    }
    return Catalog(std::move(*database));
}

std::vector<std::string> Catalog::files() const {
    return {database_.file(), database_.file() + "-wal", database_.file() + "-shm"};
}

Failure Catalog::notFound(std::string_view what, const std::string& subject) const {
    return Failure{ExitCode::kNotFound, "use the catalog", subject,
                   "the catalog " + database_.file() + " holds no such " + std::string(what)};
}

Result<Transaction> Catalog::write() const {
    if (isWindowOpen_) {
        return Failure{ExitCode::kUnsupported, "write the catalog", database_.file(),
                       "a file system is frozen: nothing is written until it is thawed"};
    }
    return Transaction::begin(database_);
}

Status Catalog::commitOneChange(Transaction& transaction, Statement& statement, std::string_view what,
                                const std::string& subject) {
    if (Status status = statement.run(); !status) {
        return status;
    }
    if (database_.changes() == 0) {
        return notFound(what, subject);
    }
    return transaction.commit();
}

Result<SnapshotRecord> Catalog::createSnapshot(const Origin& origin, Consistency consistency) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    SnapshotRecord record;
    record.origin = origin;
    record.consistency = consistency;
    record.createdNs = wallClockNs();
    const Result<std::string> id = nextId(database_, record.createdNs);
    if (!id) {
        return id.failure();
    }
    record.id = *id;
    Result<Statement> statement = database_.prepare(
        "INSERT INTO snapshots (id, mount_point, device, fs_type, state, consistency, created_ns)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(record.id).bind(origin.mountPoint).bind(origin.device).bind(origin.fsType);
    statement->bind(nameOf(record.state)).bind(nameOf(record.consistency)).bind(record.createdNs);
    if (Status status = commitOneChange(*transaction, *statement, "snapshot", record.id); !status) {
        return status.failure();
    }
    return record;
}

Result<SnapshotRecord> Catalog::snapshot(const std::string& id) const {
    Result<Statement> statement = database_.prepare(
        "SELECT id, mount_point, device, fs_type, state, consistency, created_ns, window_ns"
        " FROM snapshots WHERE id = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(id);
    Result<std::vector<SnapshotRecord>> found = readSnapshots(database_, *statement);
    if (!found) {
        return found.failure();
    }
    return found->empty() ? Result<SnapshotRecord>(notFound("snapshot", id)) : found->front();
}

Result<std::vector<SnapshotRecord>> Catalog::snapshots() const {
    Result<Statement> statement = database_.prepare(
        "SELECT id, mount_point, device, fs_type, state, consistency, created_ns, window_ns"
        " FROM snapshots ORDER BY id");
    if (!statement) {
        return statement.failure();
    }
    return readSnapshots(database_, *statement);
}

Status Catalog::setState(const std::string& id, SnapshotState state) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    Result<Statement> statement = database_.prepare("UPDATE snapshots SET state = ? WHERE id = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(nameOf(state)).bind(id);
    return commitOneChange(*transaction, *statement, "snapshot", id);
}

Status Catalog::forget(const std::string& id) {
    const Result<SnapshotRecord> record = snapshot(id);
    if (!record) {
        return record.failure();
    }
    if (record->state != SnapshotState::kGone) {
        return Failure{ExitCode::kUnsupported, "forget the snapshot", id,
                       "it is " + std::string(nameOf(record->state)) + ": delete it first"};
    }
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    Result<Statement> statement = database_.prepare("DELETE FROM snapshots WHERE id = ? AND state = 'gone'");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(id);
    return commitOneChange(*transaction, *statement, "snapshot", id);
}

}  // namespace tarnctl
