#include "host/catalog/database.h"

#include <sqlite3.h>

#include <chrono>
#include <thread>
#include <utility>

#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kBusyLimit{10};
constexpr std::chrono::milliseconds kBusyPause{10};

std::string causeOf(int code, int systemError, const std::string& text) {
    switch (code & 0xFF) {
        case SQLITE_FULL:
            return "there is no space left for it";
        case SQLITE_READONLY:
            return "it can only be read: " + text;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return "another process has kept it locked for 10 seconds";
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return "it is damaged or no catalog (" + text + "); put a saved copy in its place";
        default:
            break;
    }
    return systemError != 0 ? text + ": " + systemErrorText(systemError) : text;
}

bool isBusy(int code) {
    return (code & 0xFF) == SQLITE_BUSY;
}

}  // namespace

void Database::Close::operator()(sqlite3* connection) const {
    sqlite3_close_v2(connection);
}

Database::Database(std::unique_ptr<sqlite3, Close> connection, std::string file)
    : connection_(std::move(connection)), file_(std::move(file)) {}

Result<Database> Database::open(const std::string& file) {
    sqlite3* connection = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int code = sqlite3_open_v2(file.c_str(), &connection, flags, nullptr);
    Database database(std::unique_ptr<sqlite3, Close>(connection), file);
    if (code != SQLITE_OK) {
        return database.failure(code);
    }
    sqlite3_busy_timeout(connection, static_cast<int>(std::chrono::milliseconds(kBusyLimit).count()));
    if (sqlite3_db_readonly(connection, "main") == 1) {
        return database.failure(SQLITE_READONLY);
    }
    if (Status status = database.execute("PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF"); !status) {
        return status.failure();
    }
    return database;
}

Status Database::useWal() const {
    // Two processes that turn a new file to WAL at once are told "busy" without the wait.
    const Clock::time_point deadline = Clock::now() + kBusyLimit;
    int code = SQLITE_BUSY;
    while (isBusy(code) && Clock::now() < deadline) {
        code = sqlite3_exec(connection_.get(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
        if (isBusy(code)) {
            std::this_thread::sleep_for(kBusyPause);
        }
    }
    if (code != SQLITE_OK) {
        return failure(code);
    }
    Result<Statement> mode = prepare("PRAGMA journal_mode");
    if (!mode) {
        return mode.failure();
    }
    const Result<bool> row = mode->step();
    if (!row) {
        return row.failure();
    }
    if (!*row || mode->text(0) != "wal") {
        return Failure{ExitCode::kUnsupported, "open the catalog", file_, "its file system cannot hold a WAL database"};
    }
    return execute("PRAGMA synchronous = FULL");
}

Result<Statement> Database::prepare(Sql sql) const {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(connection_.get(), sql.text(), -1, &statement, nullptr);
    if (code != SQLITE_OK) {
        return failure(code);
    }
    return Statement(*this, statement);
}

Status Database::execute(Sql sql) const {
    const int code = sqlite3_exec(connection_.get(), sql.text(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        return failure(code);
    }
    return Done{};
}

Result<std::int64_t> Database::integerOf(Sql sql) const {
    Result<Statement> statement = prepare(sql);
    if (!statement) {
        return statement.failure();
    }
    const Result<bool> row = statement->step();
    if (!row) {
        return row.failure();
    }
    return *row ? Result<std::int64_t>(statement->integer(0)) : failure(SQLITE_CORRUPT);
}

std::int64_t Database::changes() const {
    return sqlite3_changes64(connection_.get());
}

Failure Database::failure(int code) const {
    // The connection's own text belongs to its last error only.
    const bool isLast = connection_ && (sqlite3_errcode(connection_.get()) & 0xFF) == (code & 0xFF);
    const std::string text = isLast ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code);
    const int systemError = isLast ? sqlite3_system_errno(connection_.get()) : 0;
    const ExitCode exitCode = isBusy(code) ? ExitCode::kBusy : ExitCode::kFailed;
    return Failure{exitCode, "use the catalog", file_, causeOf(code, systemError, text)};
}

Result<Transaction> Transaction::begin(const Database& database) {
    if (Status status = database.execute("BEGIN IMMEDIATE"); !status) {
        return status.failure();
    }
    return Transaction(database);
}

Transaction::Transaction(Transaction&& other) noexcept : database_(std::exchange(other.database_, nullptr)) {}

Transaction::~Transaction() {
    if (database_ != nullptr) {
        // Some errors have rolled back already; then this one has nothing to do and says so.
        static_cast<void>(static_cast<bool>(database_->execute("ROLLBACK")));
    }
}

Status Transaction::commit() {
    Status status = database_->execute("COMMIT");
    if (status) {
        database_ = nullptr;
    }
    return status;
}

}  // namespace tarnctl
