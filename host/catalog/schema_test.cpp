#include "host/catalog/schema.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class Schema : public testing::Test {
  protected:
    Database open() {
        std::ofstream(file_, std::ios::app);
        Result<Database> database = Database::open(file_);
        if (!database) {
            ADD_FAILURE() << database.failure().cause;
            std::abort();
        }
        return std::move(*database);
    }
    std::string bytes() const {
        std::ifstream in(file_, std::ios::binary);
        std::ostringstream out;
        out << in.rdbuf();
        return out.str();
    }

    TemporaryFolder folder_;
    std::string file_ = folder_.at("catalog.db");
};

TEST_F(Schema, everyTableIsStrict) {
    ASSERT_TRUE(Catalog::open(file_));
    const Database database = open();
    EXPECT_EQ(*database.integerOf("SELECT COUNT(*) FROM pragma_table_list WHERE name IN ('snapshots', 'nodes', 'steps')"
                                  " AND strict = 1"),
              3);
    EXPECT_EQ(*database.integerOf("PRAGMA user_version"), catalogMigrations().back().version);
    EXPECT_FALSE(database.execute("INSERT INTO snapshots VALUES ('a', 'b', 'c', 'd', 'strange', 'frozen', 1, 1)"));
    EXPECT_FALSE(database.execute("INSERT INTO snapshots VALUES ('a', 'b', 'c', 'd', 'ready', 'frozen', 'text', 1)"));
    EXPECT_TRUE(database.execute("INSERT INTO snapshots VALUES ('a', 'b', 'c', 'd', 'ready', 'frozen', 1, 1)"));
}

TEST_F(Schema, versionsFollowOneAnotherAndKeepTheData) {
    ASSERT_TRUE(Catalog::open(file_)->createSnapshot({"/data", "/dev/sdb1", "xfs"}));
    const Database database = open();
    const std::array<Migration, 3> migrations{
        {catalogMigrations().front(),
         {2, "ALTER TABLE snapshots ADD COLUMN note TEXT; PRAGMA user_version = 2"},
         {3, "UPDATE snapshots SET note = 'kept ' || mount_point; PRAGMA user_version = 3"}}};
    ASSERT_TRUE(checkCatalog(database, migrations));
    ASSERT_TRUE(migrate(database, migrations));
    EXPECT_EQ(*database.integerOf("PRAGMA user_version"), 3);
    EXPECT_EQ(*database.integerOf("SELECT COUNT(*) FROM snapshots WHERE note = 'kept /data'"), 1);
    EXPECT_TRUE(migrate(database, migrations));
}

TEST_F(Schema, aMigrationThatFailsChangesNothing) {
    ASSERT_TRUE(Catalog::open(file_));
    const Database database = open();
    const std::array<Migration, 3> migrations{{catalogMigrations().front(),
                                               {2, "CREATE TABLE extra (i INTEGER) STRICT; PRAGMA user_version = 2"},
                                               {3, "INSERT INTO missing VALUES (1); PRAGMA user_version = 3"}}};
    EXPECT_FALSE(migrate(database, migrations));
    EXPECT_EQ(*database.integerOf("PRAGMA user_version"), 1);
    EXPECT_EQ(*database.integerOf("SELECT COUNT(*) FROM sqlite_schema WHERE name = 'extra'"), 0);
    EXPECT_TRUE(Catalog::open(file_));
}

TEST_F(Schema, aNewerCatalogIsRefusedAndLeftAlone) {
    ASSERT_TRUE(Catalog::open(file_));
    ASSERT_TRUE(open().execute("PRAGMA user_version = 1000"));
    const std::string before = bytes();
    const Result<Catalog> catalog = Catalog::open(file_);
    ASSERT_FALSE(catalog);
    EXPECT_EQ(catalog.failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(catalog.failure().subject, file_);
    EXPECT_NE(catalog.failure().cause.find("newer tarnctl: it has version 1000"), std::string::npos);
    EXPECT_EQ(bytes(), before);
}

TEST_F(Schema, anotherDatabaseIsRefusedAndLeftAlone) {
    ASSERT_TRUE(open().execute("CREATE TABLE addresses (name TEXT)"));
    const std::string before = bytes();
    const Result<Catalog> catalog = Catalog::open(file_);
    ASSERT_FALSE(catalog);
    EXPECT_EQ(catalog.failure().code, ExitCode::kUnsupported);
    EXPECT_NE(catalog.failure().cause.find("no catalog"), std::string::npos);
    EXPECT_EQ(bytes(), before);
}

TEST_F(Schema, processesThatComeAtOnceAllOpenTheNewCatalog) {
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            Result<Catalog> catalog = Catalog::open(file_);
            const bool isMade = catalog && catalog->createSnapshot({"/data", "/dev/sdb1", "xfs"});
            if (!isMade && !catalog) {
                std::fprintf(stderr, "%s\n", catalog.failure().cause.c_str());
            }
            _exit(isMade ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(Catalog::open(file_)->snapshots()->size(), children.size());
}

}  // namespace
}  // namespace tarnctl
