#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/mounts/preflight.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class PreflightPoint : public testing::Test {
  protected:
    void SetUp() override {
        const std::string file = folder_.at("mountinfo");
        std::ofstream(file) << "26 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                               "27 26 8:2 / /data rw - xfs /dev/sdb1 rw\n"
                               "28 26 8:3 / /twice rw - xfs /dev/sdb2 rw\n"
                               "29 28 8:4 / /twice rw - xfs /dev/sdb3 rw\n"
                               "30 26 8:5 / /below/it rw - xfs /dev/sdb4 rw\n"
                               "31 26 8:6 / /below rw - xfs /dev/sdb5 rw\n"
                               "32 26 8:2 /part /bound rw - xfs /dev/sdb1 rw\n"
                               "33 26 0:40 / /memory rw - tmpfs tmpfs rw\n"
                               "34 26 0:41 / /share rw - nfs host:/my\\040export rw\n"
                               "35 26 8:7 / /a\\040b rw - xfs /dev/sdb6 rw\n";
        Result<MountTable> table = MountTable::readFrom(file);
        ASSERT_TRUE(table);
        table_.emplace(std::move(*table));
    }

    Failure refused(const std::string& path) {
        Result<MountEntry> result = checkMountPoint(*table_, path, types_);
        EXPECT_FALSE(result) << path;
        return result ? Failure{} : result.failure();
    }
    void expectRefused(const std::string& path, ExitCode code, const std::string& part) {
        const Failure failure = refused(path);
        EXPECT_EQ(failure.code, code) << path;
        EXPECT_NE(failure.cause.find(part), std::string::npos) << failure.cause;
    }

    TemporaryFolder folder_;
    std::vector<std::string> types_{"xfs", "nfs"};
    std::optional<MountTable> table_;
};

TEST_F(PreflightPoint, takesAPlainMountPointWithOrWithoutSlash) {
    for (const char* path : {"/data", "/data/", "/data///", "/below"}) {
        const Result<MountEntry> entry = checkMountPoint(*table_, path, types_);
        ASSERT_TRUE(entry) << path << entry.failure().cause;
        EXPECT_EQ(entry->point, withoutTrailingSlashes(path));
    }
    EXPECT_TRUE(checkMountPoint(*table_, "/memory", {}));
}

TEST_F(PreflightPoint, refusesWhatIsNotItsOwnVisibleWholeFileSystem) {
    expectRefused("/", ExitCode::kUnsupported, "never frozen");
    expectRefused("/twice", ExitCode::kUnsupported, "2 mounts lie on it");
    expectRefused("/below/it", ExitCode::kUnsupported, "hidden by the mount on /below");
    expectRefused("/bound", ExitCode::kUnsupported, "shows only /part");
    expectRefused("/memory", ExitCode::kUnsupported, "type tmpfs");
    expectRefused("/a b", ExitCode::kUnsupported, "split");
}

TEST_F(PreflightPoint, refusesADeviceThatACommandWouldSplit) {
    const Failure failure = refused("/share");
    EXPECT_EQ(failure.operation, "check the device");
    EXPECT_EQ(failure.subject, "host:/my export");
}

TEST_F(PreflightPoint, saysWhatAPathIsInstead) {
    expectRefused("/tarnfi-test-missing", ExitCode::kNotFound, "No such file or directory");
    expectRefused(folder_.path(), ExitCode::kNotFound, "is no mount point");
    expectRefused("data", ExitCode::kUnsupported, "must begin with");
    std::filesystem::create_symlink("/proc", folder_.at("link"));
    const Result<MountTable> real = MountTable::read();
    ASSERT_TRUE(real);
    const Result<MountEntry> link = checkMountPoint(*real, folder_.at("link"), {});
    ASSERT_FALSE(link);
    EXPECT_NE(link.failure().cause.find("lies in the one named /proc"), std::string::npos) << link.failure().cause;
}

TEST_F(PreflightPoint, aNameThatIsTooLongIsToldSo) {
    expectRefused("/" + std::string(4000, 'x'), ExitCode::kUnsupported, "too long");
}

}  // namespace
}  // namespace tarnctl
