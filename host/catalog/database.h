// The SQLite connection under the catalog, its transactions, and its errors as failures.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/catalog/statement.h"
#include "host/report/failure.h"

struct sqlite3;

namespace tarnctl {

// Move-only; one thread at a time. Several processes may have the same file open: a writer waits up to 10 s for
// another.
class Database {
  public:
    // The file must exist and must not be reached through a symbolic link (an empty one becomes a database by the
    // first write). Opening writes nothing.
    static Result<Database> open(const std::string& file);
    // Before the first write: turns the file to WAL. From then on a commit is on the disk when it returns.
    Status useWal() const;

    Result<Statement> prepare(Sql sql) const;
    // Any number of statements without parameters; rows are dropped.
    Status execute(Sql sql) const;
    // The first column of the first row; fails where there is none.
    Result<std::int64_t> integerOf(Sql sql) const;
    // Rows that the last statement changed.
    std::int64_t changes() const;

    // What a result code of SQLite means here, with the catalog's path as subject.
    Failure failure(int code) const;
    const std::string& file() const { return file_; }

  private:
    struct Close {
        void operator()(sqlite3* connection) const;
    };
    Database(std::unique_ptr<sqlite3, Close> connection, std::string file);

    std::unique_ptr<sqlite3, Close> connection_;
    std::string file_;
};

// A write transaction: takes the write lock at once, rolls back unless committed. Lives no longer than its Database,
// which must not move meanwhile; one at a time.
class Transaction {
  public:
    static Result<Transaction> begin(const Database& database);
    Transaction(Transaction&& other) noexcept;
    Transaction& operator=(Transaction&&) = delete;
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    // When it succeeds the changes survive a crash of the system; when it fails none of them was made.
    Status commit();

  private:
    explicit Transaction(const Database& database) : database_(&database) {}

    const Database* database_;
};

}  // namespace tarnctl
