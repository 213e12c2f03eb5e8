#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "host/mounts/preflight.h"
#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

class PreflightAlternate : public testing::Test {
  protected:
    // A table with `origin` and the first `taken` names of its snapshots.
    MountTable tableWith(const std::string& origin, int taken) {
        const std::string file = folder_.at("mountinfo");
        std::ofstream out(file);
        out << "26 1 8:1 / / rw - ext4 /dev/sda1 rw\n27 26 8:2 / " << origin << " rw - xfs /dev/sdb1 rw\n";
        for (int i = 0; i < taken; ++i) {
            const std::string suffix = i == 0 ? "" : std::to_string(i - 1);
            out << 28 + i << " 26 7:" << i << " / " << origin << "_alt" << suffix << " ro - xfs /dev/loop" << i
                << " ro\n";
        }
        out.close();
        Result<MountTable> table = MountTable::readFrom(file);
        EXPECT_TRUE(table);
        return std::move(*table);
    }

    Failure refused(const std::string& name) {
        const MountTable table = tableWith("/data", 0);
        const Result<AlternateName> result = checkAlternate(table, name);
        EXPECT_FALSE(result) << name;
        return result ? Failure{} : result.failure();
    }
    void expectRefused(const std::string& name, ExitCode code, const std::string& part) {
        const Failure failure = refused(name);
        EXPECT_EQ(failure.code, code) << failure.cause;
        EXPECT_NE(failure.cause.find(part), std::string::npos) << failure.cause;
    }

    TemporaryFolder folder_;
};

TEST_F(PreflightAlternate, countsUpToTheFirstFreeName) {
    const std::string origin = folder_.at("data");
    for (const auto& [taken, suffix] : std::vector<std::pair<int, std::string>>{
             {0, "_alt"}, {1, "_alt0"}, {2, "_alt1"}, {11, "_alt10"}, {89, "_alt88"}}) {
        const Result<AlternateName> name = deriveAlternate(tableWith(origin, taken), origin + "/");
        ASSERT_TRUE(name) << name.failure().cause;
        EXPECT_EQ(name->name, origin + suffix);
        EXPECT_FALSE(name->existed);
    }
    const Result<AlternateName> full = deriveAlternate(tableWith(origin, 90), origin);
    ASSERT_FALSE(full);
    EXPECT_EQ(full.failure().code, ExitCode::kBusy);
}

TEST_F(PreflightAlternate, anEmptyDirectoryMayBeThereAlready) {
    const std::string origin = folder_.at("data");
    ASSERT_EQ(mkdir((origin + "_alt").c_str(), S_IRWXU), 0);
    const Result<AlternateName> name = deriveAlternate(tableWith(origin, 0), origin);
    ASSERT_TRUE(name) << name.failure().cause;
    EXPECT_TRUE(name->existed);
    std::ofstream(origin + "_alt/file") << "x";
    const Result<AlternateName> full = deriveAlternate(tableWith(origin, 0), origin);
    ASSERT_FALSE(full);
    EXPECT_NE(full.failure().cause.find("something in it"), std::string::npos);
}

TEST_F(PreflightAlternate, refusesLinksAndFiles) {
    std::filesystem::create_symlink("/", folder_.at("link"));
    std::filesystem::create_symlink("/nowhere", folder_.at("dangling"));
    std::ofstream(folder_.at("file")) << "x";
    expectRefused(folder_.at("link"), ExitCode::kUnsupported, "symbolic link");
    expectRefused(folder_.at("dangling"), ExitCode::kUnsupported, "symbolic link");
    expectRefused(folder_.at("file"), ExitCode::kUnsupported, "no directory");
    expectRefused(folder_.at("link/x"), ExitCode::kUnsupported, "symbolic link");
    expectRefused(folder_.at("missing/x"), ExitCode::kNotFound, "No such file");
}

TEST_F(PreflightAlternate, refusesAParentThatOthersMayWrite) {
    for (const mode_t mode : {0720U, 0702U, 01777U}) {
        ASSERT_EQ(chmod(folder_.path().c_str(), mode), 0);
        expectRefused(folder_.at("x"), ExitCode::kUnsupported, "others may write to " + folder_.path());
    }
    ASSERT_EQ(chmod(folder_.path().c_str(), 0720U), 0);
    ASSERT_EQ(mkdir(folder_.at("in").c_str(), S_IRWXU), 0);
    expectRefused(folder_.at("in/x"), ExitCode::kUnsupported, "others may write to " + folder_.path());
}

TEST_F(PreflightAlternate, refusesAParentOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root: gives a directory to another user";
    }
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(mkdir(folder_.at("theirs").c_str(), S_IRWXU), 0);
    ASSERT_EQ(chown(folder_.at("theirs").c_str(), kNobody, kNobody), 0);
    expectRefused(folder_.at("theirs/x"), ExitCode::kUnsupported, "another user");
}

TEST_F(PreflightAlternate, refusesNamesThatAreNotPlain) {
    for (const std::string& name : {folder_.at("../x"), folder_.at("./x"), folder_.at("a//x"), std::string("/")}) {
        expectRefused(name, ExitCode::kUnsupported, "plain path");
    }
    expectRefused(folder_.at("a b"), ExitCode::kUnsupported, "split");
    expectRefused("data_alt", ExitCode::kUnsupported, "must begin with");
    expectRefused("/data", ExitCode::kBusy, "mount point already");
    expectRefused(folder_.at(std::string(4000, 'x')), ExitCode::kUnsupported, "too long");
}

TEST_F(PreflightAlternate, aDerivedNameMayBecomeTooLong) {
    const std::string origin = folder_.at(std::string(253, 'x'));
    const Result<AlternateName> name = deriveAlternate(tableWith(origin, 0), origin);
    ASSERT_FALSE(name);
    EXPECT_NE(name.failure().cause.find("too long"), std::string::npos);
}

}  // namespace
}  // namespace tarnctl
