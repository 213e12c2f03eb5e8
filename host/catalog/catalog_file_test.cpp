#include "host/catalog/catalog_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "host/catalog/catalog.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

mode_t rightsOf(const std::string& path) {
    constexpr mode_t kRights = 07777;
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & kRights;
}

TEST(CatalogFile, folderAndFilesAreForTheOwnerOnly) {
    const TemporaryFolder folder;
    const mode_t before = umask(0);
    const Result<Catalog> catalog = Catalog::open(folder.at("tarnfi/catalog.db"));
    umask(before);
    ASSERT_TRUE(catalog) << catalog.failure().cause;
    EXPECT_EQ(rightsOf(folder.at("tarnfi")), 0700U);
    for (const std::string& file : catalog->files()) {
        EXPECT_EQ(rightsOf(file), 0600U) << file;
    }
}

TEST(CatalogFile, refusesWhatOthersMayWrite) {
    const TemporaryFolder folder;
    ASSERT_TRUE(Catalog::open(folder.at("catalog.db")));
    ASSERT_EQ(chmod(folder.at("catalog.db").c_str(), 0620), 0);
    const Result<Catalog> byFile = Catalog::open(folder.at("catalog.db"));
    ASSERT_FALSE(byFile);
    EXPECT_EQ(byFile.failure().code, ExitCode::kUnsupported);
    ASSERT_EQ(chmod(folder.at("catalog.db").c_str(), 0600), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
    const Result<Catalog> byFolder = Catalog::open(folder.at("catalog.db"));
    ASSERT_FALSE(byFolder);
    EXPECT_EQ(byFolder.failure().subject, folder.path());
}

TEST(CatalogFile, refusesWhatBelongsToAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root: gives a file to another user";
    }
    constexpr uid_t kNobody = 65534;
    const TemporaryFolder folder;
    ASSERT_TRUE(Catalog::open(folder.at("catalog.db")));
    ASSERT_EQ(chown(folder.at("catalog.db").c_str(), kNobody, kNobody), 0);
    EXPECT_FALSE(Catalog::open(folder.at("catalog.db")));
}

TEST(CatalogFile, refusesLinksAndFolders) {
    const TemporaryFolder folder;
    ASSERT_TRUE(Catalog::open(folder.at("catalog.db")));
    std::filesystem::create_symlink(folder.at("catalog.db"), folder.at("link.db"));
    EXPECT_FALSE(Catalog::open(folder.at("link.db")));
    std::filesystem::create_directory(folder.at("folder.db"));
    EXPECT_FALSE(Catalog::open(folder.at("folder.db")));
    EXPECT_FALSE(Catalog::open(folder.path() + "/"));
}

TEST(CatalogFile, linksOnTheWayToTheFolderAreFine) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.at("real"));
    std::filesystem::permissions(folder.at("real"), std::filesystem::perms::owner_all);
    std::filesystem::create_directory_symlink(folder.at("real"), folder.at("link"));
    const Result<Catalog> catalog = Catalog::open(folder.at("link/catalog.db"));
    ASSERT_TRUE(catalog) << catalog.failure().cause;
    EXPECT_EQ(catalog->files().front(), folder.at("real/catalog.db"));
}

TEST(CatalogFile, aMissingParentIsAFailure) {
    const TemporaryFolder folder;
    const Result<Catalog> catalog = Catalog::open(folder.at("a/b/catalog.db"));
    ASSERT_FALSE(catalog);
    EXPECT_NE(catalog.failure().cause.find("No such file"), std::string::npos);
}

TEST(CatalogFile, aFileOnTheWayIsAFailure) {
    const TemporaryFolder folder;
    std::ofstream(folder.at("file")) << "content";
    const Result<Catalog> catalog = Catalog::open(folder.at("file/a/catalog.db"));
    ASSERT_FALSE(catalog);
    EXPECT_NE(catalog.failure().cause.find("Not a directory"), std::string::npos) << catalog.failure().cause;
}

// Until it goes, the process has the rights of a user who owns nothing.
class AsNobody {
  public:
    static constexpr uid_t kUser = 65534;
    AsNobody() { EXPECT_EQ(seteuid(kUser), 0); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;
    ~AsNobody() { EXPECT_EQ(seteuid(0), 0); }
};

void expectNotPermitted(const std::string& file, const std::string& subject, const std::string& what) {
    const AsNobody nobody;
    const Result<Catalog> catalog = Catalog::open(file);
    ASSERT_FALSE(catalog);
    EXPECT_EQ(catalog.failure().code, ExitCode::kFailed);
    EXPECT_EQ(catalog.failure().subject, subject);
    EXPECT_EQ(catalog.failure().cause, "user 65534 may not " + what);
}

TEST(CatalogFile, whatIsNotPermittedIsNamed) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root: becomes another user";
    }
    const TemporaryFolder folder;
    ASSERT_TRUE(Catalog::open(folder.at("own/catalog.db")));
    for (const char* file : {"own/catalog.db", "own/deeper/catalog.db", "catalog.db", "none/catalog.db"}) {
        expectNotPermitted(folder.at(file), folder.path(), "look into this folder");
    }
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    expectNotPermitted(folder.at("own/catalog.db"), folder.at("own"), "look into this folder");
    expectNotPermitted(folder.at("none/catalog.db"), folder.path(), "make a folder in this one");
    ASSERT_EQ(chmod(folder.at("own").c_str(), 0755), 0);
    expectNotPermitted(folder.at("own/catalog.db"), folder.at("own"), "write to this folder");
    EXPECT_TRUE(Catalog::open(folder.at("own/catalog.db")));
    ASSERT_EQ(chown(folder.at("own").c_str(), AsNobody::kUser, 0), 0);
    expectNotPermitted(folder.at("own/catalog.db"), folder.at("own/catalog.db"), "read and write this file");
}

}  // namespace
}  // namespace tarnctl
