#include "host/freeze/fs_freeze.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>

#include "host/freeze/held_directory.h"
#include "host/freeze/scratch_file_system.h"

namespace tarnctl {
namespace {

using namespace std::chrono_literals;

class FsFreezeTest : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (const std::string reason = ScratchFileSystem::reasonToSkip(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        scratch_ = std::make_unique<ScratchFileSystem>(GetParam());
        auto held = HeldDirectory::open(scratch_->mountPoint());
        ASSERT_TRUE(held) << held.failure().cause;
        held_ = std::make_unique<HeldDirectory>(std::move(*held));
    }
    void TearDown() override {
        held_.reset();
        scratch_.reset();
    }
    int fd() const { return held_->fd(); }

    std::unique_ptr<ScratchFileSystem> scratch_;
    std::unique_ptr<HeldDirectory> held_;
};

TEST_P(FsFreezeTest, TellsEachOutcomeApart) {
    const ThawAnswer early = thawFs(fd());
    EXPECT_EQ(early.outcome, ThawOutcome::kWasNotFrozen);
    EXPECT_EQ(early.error, EINVAL);
    EXPECT_EQ(syncFs(fd()), 0);
    EXPECT_EQ(freezeFs(fd()).outcome, FreezeOutcome::kDone);
    const FreezeAnswer second = freezeFs(fd());
    EXPECT_EQ(second.outcome, FreezeOutcome::kAlreadyFrozen);
    EXPECT_EQ(second.error, EBUSY);
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kDone);
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kWasNotFrozen);
}

TEST_P(FsFreezeTest, ProofSaysBothWaysAndLeavesThingsAsTheyWere) {
    EXPECT_EQ(isFrozen(fd()).proof, FrozenProof::kNotFrozen);
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kWasNotFrozen) << "the proof left its own freeze behind";
    ASSERT_EQ(freezeFs(fd()).outcome, FreezeOutcome::kDone);
    EXPECT_EQ(isFrozen(fd()).proof, FrozenProof::kFrozen);
    EXPECT_EQ(isFrozen(fd()).proof, FrozenProof::kFrozen);
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kDone) << "the proof must not thaw";
}

TEST_P(FsFreezeTest, AWriteWaitsWhileFrozenAndCompletesAfterTheThaw) {
    const std::string file = scratch_->mountPoint() + "/file";
    ASSERT_EQ(freezeFs(fd()).outcome, FreezeOutcome::kDone);
    const pid_t writer = fork();
    if (writer == 0) {
        const int out = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        _exit(out >= 0 && write(out, "x", 1) == 1 && fsync(out) == 0 ? 0 : 1);
    }
    std::this_thread::sleep_for(200ms);
    int status = -1;
    EXPECT_EQ(waitpid(writer, &status, WNOHANG), 0) << "the write went through a frozen file system";
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kDone);
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
    struct stat written {};
    ASSERT_EQ(stat(file.c_str(), &written), 0);
    EXPECT_EQ(written.st_size, 1);
}

TEST_P(FsFreezeTest, HoldingTheDirectoryKeepsItMounted) {
    EXPECT_EQ(umount(scratch_->mountPoint().c_str()), -1);
    EXPECT_EQ(errno, EBUSY);
}

TEST_P(FsFreezeTest, ThawsByPath) {
    ASSERT_EQ(freezeFs(fd()).outcome, FreezeOutcome::kDone);
    const auto answer = thawMountPoint(scratch_->mountPoint());
    ASSERT_TRUE(answer) << answer.failure().cause;
    EXPECT_EQ(answer->outcome, ThawOutcome::kDone);
    EXPECT_EQ(isFrozen(fd()).proof, FrozenProof::kNotFrozen);
}

TEST_P(FsFreezeTest, TheNamedCommandThaws) {
    ASSERT_EQ(freezeFs(fd()).outcome, FreezeOutcome::kDone);
    EXPECT_EQ(runCommand({"/bin/sh", "-c", thawCommand(scratch_->mountPoint(), GetParam())}), 0);
    EXPECT_EQ(thawFs(fd()).outcome, ThawOutcome::kWasNotFrozen);
}

INSTANTIATE_TEST_SUITE_P(Types, FsFreezeTest, testing::Values("xfs", "ext4"), [](const auto& of) { return of.param; });

TEST(FsFreeze, SaysSoWhereTheKernelCannotFreeze) {
    if (const std::string reason = ScratchFileSystem::reasonToSkip(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    auto held = HeldDirectory::open("/proc");
    ASSERT_TRUE(held);
    EXPECT_EQ(freezeFs(held->fd()).outcome, FreezeOutcome::kCannotFreeze);
    EXPECT_EQ(thawFs(held->fd()).outcome, ThawOutcome::kWasNotFrozen);
    EXPECT_EQ(isFrozen(held->fd()).proof, FrozenProof::kNotFrozen);
}

}  // namespace
}  // namespace tarnctl
