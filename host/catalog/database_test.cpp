#include "host/catalog/database.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class DatabaseTest : public testing::Test {
  protected:
    Database open() {
        std::ofstream(folder_.at("x.db"), std::ios::app);
        Result<Database> database = Database::open(folder_.at("x.db"));
        if (!database) {
            ADD_FAILURE() << database.failure().cause;
            std::abort();
        }
        EXPECT_TRUE(database->useWal());
        return std::move(*database);
    }

    TemporaryFolder folder_;
};

TEST_F(DatabaseTest, isSetUpForDurability) {
    const Database database = open();
    constexpr std::int64_t kFull = 2;
    EXPECT_EQ(*database.integerOf("PRAGMA synchronous"), kFull);
    EXPECT_EQ(*database.integerOf("PRAGMA foreign_keys"), 1);
    EXPECT_EQ(*database.integerOf("PRAGMA busy_timeout"), 10'000);
    ASSERT_TRUE(database.execute("CREATE TABLE t (i INTEGER) STRICT"));
    EXPECT_TRUE(std::filesystem::exists(folder_.at("x.db-wal")));
}

TEST_F(DatabaseTest, valuesComeBackAsTheyWentIn) {
    const Database database = open();
    ASSERT_TRUE(database.execute("CREATE TABLE t (i INTEGER, s TEXT, b BLOB, n INTEGER, e BLOB) STRICT"));
    const std::string bytes("\xff\0\xc3", 3);
    const std::string hostile = "'); DROP TABLE t; --";
    Result<Statement> insert = database.prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?)");
    ASSERT_TRUE(insert);
    insert->bind(INT64_MIN).bind(hostile).bindBlob(bytes).bind(std::optional<std::int64_t>()).bindBlob("");
    ASSERT_TRUE(insert->run());
    Result<Statement> select = database.prepare("SELECT i, s, b, n, e FROM t");
    ASSERT_TRUE(select);
    ASSERT_TRUE(*select->step());
    EXPECT_EQ(select->integer(0), INT64_MIN);
    EXPECT_EQ(select->text(1), hostile);
    EXPECT_EQ(select->text(2), bytes);
    EXPECT_EQ(select->optionalInteger(3), std::nullopt);
    EXPECT_FALSE(select->isNull(4));
    EXPECT_FALSE(*select->step());
}

TEST_F(DatabaseTest, anUncommittedTransactionLeavesNothing) {
    const Database database = open();
    ASSERT_TRUE(database.execute("CREATE TABLE t (i INTEGER) STRICT"));
    {
        const Result<Transaction> transaction = Transaction::begin(database);
        ASSERT_TRUE(transaction);
        ASSERT_TRUE(database.execute("INSERT INTO t VALUES (1)"));
    }
    EXPECT_EQ(*database.integerOf("SELECT COUNT(*) FROM t"), 0);
    Result<Transaction> transaction = Transaction::begin(database);
    ASSERT_TRUE(transaction);
    ASSERT_TRUE(database.execute("INSERT INTO t VALUES (1)"));
    ASSERT_TRUE(transaction->commit());
    EXPECT_EQ(*database.integerOf("SELECT COUNT(*) FROM t"), 1);
}

TEST_F(DatabaseTest, failuresNameTheFileAndTheReason) {
    const Database database = open();
    const Status wrong = database.execute("SELECT * FROM missing");
    ASSERT_FALSE(wrong);
    EXPECT_EQ(wrong.failure().subject, folder_.at("x.db"));
    EXPECT_NE(wrong.failure().cause.find("no such table"), std::string::npos);
    const Result<Database> missing = Database::open(folder_.at("missing.db"));
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.failure().cause.find("No such file or directory"), std::string::npos) << missing.failure().cause;
}

TEST_F(DatabaseTest, tooManyValuesAreAFailureNotSilence) {
    const Database database = open();
    Result<Statement> statement = database.prepare("SELECT ?");
    ASSERT_TRUE(statement);
    statement->bind(1).bind(2);
    EXPECT_FALSE(statement->step());
}

TEST_F(DatabaseTest, neverOpensThroughALink) {
    open();
    std::filesystem::create_symlink(folder_.at("x.db"), folder_.at("link.db"));
    EXPECT_FALSE(Database::open(folder_.at("link.db")));
}

}  // namespace
}  // namespace tarnctl
