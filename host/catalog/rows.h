// All rows of a statement as records of one type.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/catalog/database.h"
#include "host/catalog/statement.h"
#include "host/report/failure.h"

namespace tarnctl {

// One record per row, in their order. kFailed with the catalog's file and `unknown` for a row that `read` makes nothing
// of: a newer version's, or a damaged one.
template <typename Record>
Result<std::vector<Record>> readRows(const Database& database, Statement& statement,
                                     std::optional<Record> (*read)(const Statement& row), const char* unknown) {
    std::vector<Record> found;
    for (;;) {
        const Result<bool> row = statement.step();
        if (!row) {
            return row.failure();
        }
        if (!*row) {
            return found;
        }
        std::optional<Record> record = read(statement);
        if (!record) {
            return Failure{ExitCode::kFailed, "read the catalog", database.file(), unknown};
        }
        found.push_back(*std::move(record));
    }
}

}  // namespace tarnctl
