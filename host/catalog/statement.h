// One SQL statement, prepared, filled and stepped through.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/report/failure.h"

struct sqlite3_stmt;

namespace tarnctl {

class Database;

// SQL text that was written as a literal: values can only come in as parameters.
class Sql {
  public:
    consteval Sql(const char* text) : text_(text) {}
    constexpr const char* text() const { return text_; }

  private:
    const char* text_;
};

// Lives no longer than its Database. Values are bound in the order of the parameters and are copied. One thread.
class Statement {
  public:
    Statement& bind(std::int64_t value);
    Statement& bind(std::string_view text);
    Statement& bind(const std::optional<std::int64_t>& value);
    Statement& bindBlob(std::string_view bytes);
    Statement& bindNull();

    // True: a row is there to be read. False: finished. What the statement changes is committed only at "finished".
    Result<bool> step();
    // Steps to the end, over rows.
    Status run();

    std::int64_t integer(int column) const;
    std::optional<std::int64_t> optionalInteger(int column) const;
    std::string text(int column) const;  // bytes of text or blob, NUL bytes included
    bool isNull(int column) const;

  private:
    friend class Database;
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    Statement(const Database& database, sqlite3_stmt* statement) : database_(&database), statement_(statement) {}
    Statement& keep(int code);

    const Database* database_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
    int bound_ = 0;
    int bindCode_ = 0;  // the first failure of a bind, told by step
};

}  // namespace tarnctl
