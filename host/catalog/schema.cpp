#include "host/catalog/schema.h"

#include <array>

namespace tarnctl {
namespace {

constexpr std::int64_t kApplicationId = 0x7461726E;  // 1952543342: tells our files from other databases

// Names of files are TEXT, so that they can be read with any tool; bytes that are no UTF-8 come back as they went in.
constexpr std::array<Migration, 1> kMigrations{{{1, R"sql(
CREATE TABLE snapshots (
    id           TEXT PRIMARY KEY NOT NULL,
    mount_point  TEXT NOT NULL,
    device       TEXT NOT NULL,
    fs_type      TEXT NOT NULL,
    state        TEXT NOT NULL CHECK (state IN ('making', 'ready', 'failed', 'deleting', 'gone')),
    consistency  TEXT NOT NULL CHECK (consistency IN ('undecided', 'frozen', 'crash', 'broken')),
    created_ns   INTEGER NOT NULL,
    window_ns    INTEGER CHECK (window_ns >= 0)
) STRICT;

CREATE TABLE nodes (
    id        INTEGER PRIMARY KEY AUTOINCREMENT,
    snapshot  TEXT NOT NULL REFERENCES snapshots (id) ON DELETE CASCADE,
    role      TEXT NOT NULL CHECK (role IN ('origin', 'device', 'snapshot-device', 'alternate')),
    provider  TEXT NOT NULL,
    name      TEXT NOT NULL,
    parent    INTEGER REFERENCES nodes (id) ON DELETE CASCADE,
    blob      BLOB,
    encoding  INTEGER,
    CHECK ((blob IS NULL) = (encoding IS NULL))
) STRICT;
CREATE INDEX nodes_of_snapshot ON nodes (snapshot);
CREATE INDEX nodes_of_parent ON nodes (parent);

CREATE TABLE steps (
    snapshot     TEXT NOT NULL REFERENCES snapshots (id) ON DELETE CASCADE,
    ordinal      INTEGER NOT NULL,
    name         TEXT NOT NULL,
    undo         TEXT NOT NULL,
    state        TEXT NOT NULL CHECK (state IN ('intended', 'done', 'failed', 'undone')),
    detail       TEXT NOT NULL DEFAULT '',
    intended_ns  INTEGER NOT NULL,
    finished_ns  INTEGER,
    undone_ns    INTEGER,
    PRIMARY KEY (snapshot, ordinal)
) STRICT;

PRAGMA application_id = 1952543342;
PRAGMA user_version = 1;
)sql"}}};

Failure refusal(const Database& database, std::string cause) {
    return Failure{ExitCode::kUnsupported, "open the catalog", database.file(), std::move(cause)};
}

// Both read from one state of the file: another process may be making its tables just now.
Status checkKind(const Database& database, std::int64_t newest) {
    const Result<std::int64_t> version = database.integerOf("PRAGMA user_version");
    const Result<std::int64_t> kind = database.integerOf("PRAGMA application_id");
    const Result<std::int64_t> tables = database.integerOf("SELECT COUNT(*) FROM sqlite_schema");
    for (const Result<std::int64_t>* answer : {&version, &kind, &tables}) {
        if (!*answer) {
            return answer->failure();
        }
    }
    const bool isNew = *version == 0 && *kind == 0 && *tables == 0;
    if (!isNew && *kind != kApplicationId) {
        return refusal(database, "is a database, but no catalog");
    }
    if (*version > newest) {
        return refusal(database, "was written by a newer tarnctl: it has version " + std::to_string(*version) +
                                     ", this program knows up to " + std::to_string(newest));
    }
    return Done{};
}

Status apply(const Database& database, const Migration& migration) {
    if (Status status = database.execute(migration.sql); !status) {
        return status;
    }
    const Result<std::int64_t> reached = database.integerOf("PRAGMA user_version");
    if (!reached || *reached != migration.version) {
        return refusal(database, "version " + std::to_string(migration.version) + " could not be reached");
    }
    return Done{};
}

}  // namespace

std::span<const Migration> catalogMigrations() {
    return kMigrations;
}

Status checkCatalog(const Database& database, std::span<const Migration> migrations) {
    if (Status status = database.execute("BEGIN"); !status) {
        return status;
    }
    const Status kind = checkKind(database, migrations.back().version);
    const Status end = database.execute("ROLLBACK");
    return kind ? end : kind;
}

Status migrate(const Database& database, std::span<const Migration> migrations) {
    const Result<std::int64_t> before = database.integerOf("PRAGMA user_version");
    if (!before || *before == migrations.back().version) {
        return before ? Status(Done{}) : before.failure();
    }
    Result<Transaction> transaction = Transaction::begin(database);
    if (!transaction) {
        return transaction.failure();
    }
    // Another process may have done it while this one waited for the lock.
    const Result<std::int64_t> version = database.integerOf("PRAGMA user_version");
    if (!version) {
        return version.failure();
    }
    for (const Migration& migration : migrations) {
        if (migration.version <= *version) {
            continue;
        }
        if (Status status = apply(database, migration); !status) {
            return status;
        }
    }
    return transaction->commit();
}

}  // namespace tarnctl
