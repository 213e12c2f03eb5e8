#include "host/catalog/statement.h"

#include <sqlite3.h>

#include "host/catalog/database.h"

namespace tarnctl {

void Statement::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

Statement& Statement::keep(int code) {
    if (bindCode_ == SQLITE_OK) {
        bindCode_ = code;
    }
    return *this;
}

Statement& Statement::bind(std::int64_t value) {
    return keep(sqlite3_bind_int64(statement_.get(), ++bound_, value));
}

Statement& Statement::bind(std::string_view text) {
    return keep(
        sqlite3_bind_text64(statement_.get(), ++bound_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

Statement& Statement::bind(const std::optional<std::int64_t>& value) {
    return value ? bind(*value) : bindNull();
}

Statement& Statement::bindBlob(std::string_view bytes) {
    // A null pointer would bind NULL, not an empty blob.
    const char* data = bytes.empty() ? "" : bytes.data();
    return keep(sqlite3_bind_blob64(statement_.get(), ++bound_, data, bytes.size(), SQLITE_TRANSIENT));
}

Statement& Statement::bindNull() {
    return keep(sqlite3_bind_null(statement_.get(), ++bound_));
}

Result<bool> Statement::step() {
    const int code = bindCode_ != SQLITE_OK ? bindCode_ : sqlite3_step(statement_.get());
    if (code == SQLITE_ROW) {
        return true;
    }
    if (code == SQLITE_DONE) {
        return false;
    }
    return database_->failure(code);
}

Status Statement::run() {
    for (;;) {
        const Result<bool> row = step();
        if (!row) {
            return row.failure();
        }
        if (!*row) {
            return Done{};
        }
    }
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const {
    return isNull(column) ? std::nullopt : std::optional<std::int64_t>(integer(column));
}

std::string Statement::text(int column) const {
    const void* bytes = sqlite3_column_blob(statement_.get(), column);
    const int length = sqlite3_column_bytes(statement_.get(), column);
    return bytes != nullptr ? std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(length)) : "";
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

}  // namespace tarnctl
