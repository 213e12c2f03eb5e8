// The catalog's tables and the way from each version to the next.
#pragma once

#include <span>

#include "host/catalog/database.h"

namespace tarnctl {

struct Migration {
    int version;  // what the SQL sets as user_version, at its end
    Sql sql;
};

// All versions up to this program's, ascending from 1.
std::span<const Migration> catalogMigrations();

// kUnsupported for a database of a newer program and for one that is no catalog. Writes nothing.
Status checkCatalog(const Database& database, std::span<const Migration> migrations);

// Brings a database that passed checkCatalog to the last version, in one transaction: all of it or nothing. Of several
// processes that come at once one does it.
Status migrate(const Database& database, std::span<const Migration> migrations);

}  // namespace tarnctl
