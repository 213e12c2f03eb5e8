#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "host/mounts/preflight.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class PreflightOwn : public testing::Test {
  protected:
    void SetUp() override {
        struct stat status {};
        ASSERT_EQ(stat(folder_.path().c_str(), &status), 0);
        device_ = status.st_dev;
        Result<MountTable> table = MountTable::read();
        ASSERT_TRUE(table);
        table_.emplace(std::move(*table));
    }
    MountEntry frozenAs(dev_t device) const {
        MountEntry entry;
        entry.device = device;
        entry.point = "/frozen";
        return entry;
    }

    TemporaryFolder folder_;
    dev_t device_ = 0;
    std::optional<MountTable> table_;
};

TEST_F(PreflightOwn, refusesWhatLiesOnTheFrozenFileSystem) {
    const Status status = refuseOwnOnFrozen(*table_, {frozenAs(device_)}, {{"the catalog", folder_.at("catalog.db")}});
    ASSERT_FALSE(status);
    EXPECT_EQ(status.failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(status.failure().subject, folder_.at("catalog.db"));
    EXPECT_EQ(status.failure().cause, "the catalog lies on /frozen, which would be frozen");
}

TEST_F(PreflightOwn, aFileThatIsNotThereYetCountsByItsFolder) {
    EXPECT_FALSE(refuseOwnOnFrozen(*table_, {frozenAs(device_)}, {{"the trace", folder_.at("not/yet/there")}}));
}

TEST_F(PreflightOwn, leavesOtherFileSystemsAlone) {
    const std::vector<OwnPath> paths{{"the catalog", folder_.path()}, {"the trace", "/proc/self/status"}};
    EXPECT_TRUE(refuseOwnOnFrozen(*table_, {frozenAs(makedev(8, 250)), frozenAs(makedev(8, 251))}, paths));
}

TEST_F(PreflightOwn, aKnownDeviceIsBelievedBeforeThePath) {
    const OwnPath deleted{"a library", "/tarnfi-test-gone (deleted)", makedev(8, 250)};
    EXPECT_FALSE(refuseOwnOnFrozen(*table_, {frozenAs(makedev(8, 250))}, {deleted}));
}

TEST_F(PreflightOwn, findsProgramLibrariesFolderAndOpenFiles) {
    std::ofstream open(folder_.at("open file"));
    ASSERT_TRUE(open.is_open());
    const std::vector<OwnPath> paths = ownPaths();
    const auto has = [&paths](const std::string& part) {
        return std::any_of(paths.begin(), paths.end(), [&part](const OwnPath& own) {
            return own.path.find(part) != std::string::npos && own.device != 0;
        });
    };
    EXPECT_TRUE(has("/mounts_test"));
    EXPECT_TRUE(has("libstdc++"));
    EXPECT_TRUE(has(folder_.at("open file")));
    EXPECT_TRUE(has(std::filesystem::current_path().native()));
}

}  // namespace
}  // namespace tarnctl
