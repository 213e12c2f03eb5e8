#include "host/catalog/catalog.h"

#include <fstream>
#include <memory>

#include "host/catalog/catalog_test_case.h"
#include "host/catalog/snapshot_id.h"
#include "host/catalog/wall_clock.h"

namespace tarnctl {
namespace {

using CatalogSnapshots = CatalogTestCase;

TEST_F(CatalogSnapshots, keepsWhatItWasGiven) {
    const Origin origin{"/da ta\xff#", "/dev/mapper/vg-data", "xfs"};
    std::string id;
    {
        Catalog catalog = open();
        const Result<SnapshotRecord> record = catalog.createSnapshot(origin);
        ASSERT_TRUE(record);
        id = record->id;
    }
    const Result<SnapshotRecord> record = open().snapshot(id);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->id, id);
    EXPECT_EQ(record->origin.mountPoint, origin.mountPoint);
    EXPECT_EQ(record->origin.device, origin.device);
    EXPECT_EQ(record->origin.fsType, origin.fsType);
    EXPECT_EQ(record->state, SnapshotState::kMaking);
    EXPECT_EQ(record->consistency, Consistency::kUndecided);
    EXPECT_EQ(record->windowNs, std::nullopt);
    EXPECT_LT(wallClockNs() - record->createdNs, 60'000'000'000);
}

TEST_F(CatalogSnapshots, idsAscendAndNeverRepeat) {
    Catalog catalog = open();
    std::string last;
    for (int i = 0; i < 50; ++i) {
        const std::string id = newSnapshot(catalog);
        EXPECT_LT(last, id);
        last = id;
    }
    const auto all = catalog.snapshots();
    ASSERT_EQ(all->size(), 50U);
    EXPECT_EQ(all->back().id, last);
}

TEST_F(CatalogSnapshots, idsAscendAlsoAfterTheClockWasSetBack) {
    Catalog catalog = open();
    const std::string today = newSnapshot(catalog);
    const Result<Database> database = Database::open(file_);
    ASSERT_TRUE(database);
    const std::int64_t nextCentury = *millisecondsOfSnapshotId(today) + 3'000'000'000'000;
    Result<Statement> statement = database->prepare("UPDATE snapshots SET id = ?");
    statement->bind(snapshotId(nextCentury, 1));
    ASSERT_TRUE(statement->run());
    EXPECT_EQ(millisecondsOfSnapshotId(newSnapshot(catalog)), nextCentury + 1);
}

TEST_F(CatalogSnapshots, everyStateIsKept) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    for (const SnapshotState state : {SnapshotState::kReady, SnapshotState::kFailed, SnapshotState::kDeleting,
                                      SnapshotState::kGone, SnapshotState::kMaking}) {
        ASSERT_TRUE(catalog.setState(id, state));
        EXPECT_EQ(catalog.snapshot(id)->state, state);
        EXPECT_EQ(snapshotStateNamed(nameOf(state)), state);
    }
    EXPECT_EQ(snapshotStateNamed("strange"), std::nullopt);
}

TEST_F(CatalogSnapshots, whatIsNotThereIsNotFound) {
    Catalog catalog = open();
    EXPECT_EQ(catalog.snapshot("x").failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.setState("x", SnapshotState::kGone).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.forget("x").failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.intend("x", {"attach", "{}"}).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.addNode("x", {}).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(catalog.writeBlob(7, {}).failure().code, ExitCode::kNotFound);
    EXPECT_TRUE(catalog.steps("x")->empty());
    EXPECT_TRUE(catalog.nodes("x")->empty());
}

TEST_F(CatalogSnapshots, onlyWhatIsGoneIsForgotten) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    ASSERT_TRUE(catalog.addNode(id, {}));
    ASSERT_TRUE(catalog.intend(id, {"attach", "{}"}));
    EXPECT_EQ(catalog.forget(id).failure().code, ExitCode::kUnsupported);
    ASSERT_TRUE(catalog.setState(id, SnapshotState::kGone));
    ASSERT_TRUE(catalog.forget(id));
    EXPECT_FALSE(catalog.snapshot(id));
    EXPECT_TRUE(catalog.steps(id)->empty());
    EXPECT_TRUE(catalog.nodes(id)->empty());
}

TEST_F(CatalogSnapshots, aDamagedFileIsToldSo) {
    { newSnapshot(*std::make_unique<Catalog>(open())); }
    std::filesystem::resize_file(file_, 4096);
    const Result<Catalog> cut = Catalog::open(file_);
    const Failure failure = cut ? cut->snapshots().failure() : cut.failure();
    EXPECT_NE(failure.cause.find("damaged"), std::string::npos) << failure.cause;
    std::ofstream(file_) << std::string(8192, 'x');
    const Result<Catalog> noise = Catalog::open(file_);
    ASSERT_FALSE(noise);
    EXPECT_NE(noise.failure().cause.find("damaged or no catalog"), std::string::npos) << noise.failure().cause;
}

}  // namespace
}  // namespace tarnctl
