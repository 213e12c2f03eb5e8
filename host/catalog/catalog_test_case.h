// A catalog in a folder of its own, for the tests of this room.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "host/catalog/catalog.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {

class CatalogTestCase : public testing::Test {
  protected:
    Catalog open() const {
        Result<Catalog> catalog = Catalog::open(file_);
        if (!catalog) {
            ADD_FAILURE() << catalog.failure().cause;
            std::abort();
        }
        return std::move(*catalog);
    }
    static std::string newSnapshot(Catalog& catalog) {
        const Result<SnapshotRecord> record = catalog.createSnapshot({"/data", "/dev/sdb1", "xfs"});
        EXPECT_TRUE(record);
        return record ? record->id : "";
    }

    TemporaryFolder folder_;
    std::string file_ = folder_.at("catalog.db");
};

}  // namespace tarnctl
