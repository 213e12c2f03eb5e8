#include "host/mounts/fs_lock.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <optional>

#include "host/testing/temporary_folder.h"

namespace tarnctl {
namespace {

const dev_t kDevice = makedev(8, 1);

TEST(FsLock, theSecondIsToldWhoWorksOnIt) {
    const TemporaryFolder folder;
    const Result<FsLock> first = FsLock::take(kDevice, "/data", folder.at("locks"));
    ASSERT_TRUE(first) << first.failure().cause;
    const Result<FsLock> second = FsLock::take(kDevice, "/data", folder.at("locks"));
    ASSERT_FALSE(second);
    EXPECT_EQ(second.failure().code, ExitCode::kBusy);
    EXPECT_EQ(second.failure().subject, "/data");
    EXPECT_EQ(second.failure().cause, "another tarnctl works on it: process " + std::to_string(getpid()));
    EXPECT_TRUE(FsLock::take(makedev(8, 2), "/other", folder.at("locks")));
}

TEST(FsLock, endsWithItsObject) {
    const TemporaryFolder folder;
    std::optional<FsLock> kept;
    {
        Result<FsLock> lock = FsLock::take(kDevice, "/data", folder.path());
        ASSERT_TRUE(lock);
        kept.emplace(std::move(*lock));
    }
    EXPECT_FALSE(FsLock::take(kDevice, "/data", folder.path()));
    kept.reset();
    EXPECT_TRUE(FsLock::take(kDevice, "/data", folder.path()));
}

TEST(FsLock, vanishesWithAKilledProcess) {
    const TemporaryFolder folder;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        const Result<FsLock> lock = FsLock::take(kDevice, "/data", folder.path());
        const char answer = lock ? 'y' : 'n';
        if (write(ready[1], &answer, 1) == 1) {
            pause();
        }
        _exit(1);
    }
    char answer = 0;
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    const Result<FsLock> busy = FsLock::take(kDevice, "/data", folder.path());
    ASSERT_FALSE(busy);
    EXPECT_NE(busy.failure().cause.find(std::to_string(child)), std::string::npos);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(FsLock::take(kDevice, "/data", folder.path()));
    close(ready[0]);
    close(ready[1]);
}

TEST(FsLock, anExecutedProgramDoesNotKeepIt) {
    const TemporaryFolder folder;
    pid_t child = 0;
    {
        const Result<FsLock> lock = FsLock::take(kDevice, "/data", folder.path());
        ASSERT_TRUE(lock);
        char program[] = "/bin/sleep";
        char seconds[] = "30";
        char* arguments[] = {program, seconds, nullptr};
        ASSERT_EQ(posix_spawn(&child, program, nullptr, nullptr, arguments, nullptr), 0);
    }
    EXPECT_TRUE(FsLock::take(kDevice, "/data", folder.path()));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(FsLock, refusesAFolderThatOthersMayWrite) {
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), S_IRWXU | S_IWOTH), 0);
    const Result<FsLock> lock = FsLock::take(kDevice, "/data", folder.path());
    ASSERT_FALSE(lock);
    EXPECT_EQ(lock.failure().code, ExitCode::kFailed);
    EXPECT_FALSE(FsLock::take(kDevice, "/data", folder.at("missing/folder")));
}

TEST(FsLock, neverOpensThroughALink) {
    const TemporaryFolder folder;
    std::ofstream(folder.at("victim")) << "precious";
    std::filesystem::create_symlink(folder.at("victim"), folder.at("8:1.lock"));
    EXPECT_FALSE(FsLock::take(kDevice, "/data", folder.path()));
    EXPECT_EQ(std::filesystem::file_size(folder.at("victim")), 8U);
}

}  // namespace
}  // namespace tarnctl
