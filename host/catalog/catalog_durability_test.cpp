// What is promised to be on the disk is there after the process was killed, and was synced before the call returned.
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "host/catalog/catalog_test_case.h"

namespace {

int syncsSeen = 0;

}  // namespace

// Every sync of this program, SQLite's too, passes here.
extern "C" __attribute__((visibility("default"))) int fdatasync(int descriptor) {
    ++syncsSeen;
    return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}
extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    ++syncsSeen;
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace tarnctl {
namespace {

class CatalogDurability : public CatalogTestCase {
  protected:
    // A child that writes a line for each thing that it has been promised, until it is killed.
    struct Child {
        pid_t process;
        int promises;  // read end
    };
    static Child start(const std::function<void(int)>& body) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t process = fork();
        if (process == 0) {
            close(ends[0]);
            body(ends[1]);
            pause();
            _exit(1);
        }
        close(ends[1]);
        return {process, ends[0]};
    }
    static void promise(int descriptor) {
        const char mark = '.';
        if (write(descriptor, &mark, 1) != 1) {
            _exit(1);
        }
    }
    static void killNow(const Child& child) {
        kill(child.process, SIGKILL);
        EXPECT_EQ(waitpid(child.process, nullptr, 0), child.process);
    }
    static std::size_t promisesOf(const Child& child) {
        std::size_t count = 0;
        char mark = 0;
        while (read(child.promises, &mark, 1) == 1) {
            ++count;
        }
        close(child.promises);
        return count;
    }
};

TEST_F(CatalogDurability, anIntentSurvivesAKillBeforeItIsFinished) {
    const Child child = start([this](int promises) {
        Catalog catalog = open();
        const std::string id = newSnapshot(catalog);
        if (catalog.intend(id, {"attach", R"({"loop":"/dev/loop3"})"})) {
            promise(promises);
            pause();  // the act that never ends
        }
    });
    char mark = 0;
    ASSERT_EQ(read(child.promises, &mark, 1), 1);
    killNow(child);
    close(child.promises);

    Catalog catalog = open();
    const auto snapshots = catalog.snapshots();
    ASSERT_EQ(snapshots->size(), 1U);
    const auto steps = catalog.stepsToUndo(snapshots->front().id);
    ASSERT_EQ(steps->size(), 1U);
    EXPECT_EQ(steps->front().intent.undo, R"({"loop":"/dev/loop3"})");
    EXPECT_EQ(steps->front().state, StepState::kIntended);
    EXPECT_TRUE(catalog.undone(steps->front().key));
}

TEST_F(CatalogDurability, aKilledWindowLeavesItsWholeIntent) {
    const Child child = start([this](int promises) {
        Catalog catalog = open();
        const std::string id = newSnapshot(catalog);
        if (catalog.windowIntent(id, {{"freeze", "{}"}, {"make", "{}"}, {"thaw", "{}"}})) {
            promise(promises);
            pause();
        }
    });
    char mark = 0;
    ASSERT_EQ(read(child.promises, &mark, 1), 1);
    killNow(child);
    close(child.promises);
    Catalog catalog = open();
    EXPECT_EQ(catalog.stepsToUndo(catalog.snapshots()->front().id)->size(), 3U);
}

TEST_F(CatalogDurability, whateverTheMomentOfTheKillNoPromiseIsLost) {
    std::size_t before = 0;
    std::string id;
    {
        Catalog catalog = open();
        id = newSnapshot(catalog);
    }
    for (int round = 0; round < 20; ++round) {
        const Child child = start([this, &id](int promises) {
            Catalog catalog = open();
            while (catalog.intend(id, {"step", "{}"})) {
                promise(promises);
            }
        });
        char mark = 0;
        ASSERT_EQ(read(child.promises, &mark, 1), 1);  // however slow the machine is, it is at work now
        std::this_thread::sleep_for(std::chrono::microseconds(300 * round));
        killNow(child);
        const std::size_t promised = 1 + promisesOf(child);
        const auto steps = open().steps(id);
        ASSERT_TRUE(steps) << steps.failure().cause;
        // One more may be there: written, but killed before it was told.
        EXPECT_GE(steps->size(), before + promised);
        EXPECT_LE(steps->size(), before + promised + 1);
        before = steps->size();
    }
}

TEST_F(CatalogDurability, intentsAreSyncedBeforeTheyReturn) {
    Catalog catalog = open();
    const std::string id = newSnapshot(catalog);
    syncsSeen = 0;
    ASSERT_TRUE(catalog.intend(id, {"attach", "{}"}));
    EXPECT_GE(syncsSeen, 1);
    syncsSeen = 0;
    ASSERT_TRUE(catalog.windowIntent(id, {{"freeze", "{}"}, {"make", "{}"}, {"thaw", "{}"}}));
    EXPECT_GE(syncsSeen, 1);
    syncsSeen = 0;
    EXPECT_FALSE(catalog.intend(id, {"attach", "{}"}));
    EXPECT_TRUE(catalog.stepsToUndo(id));
    EXPECT_EQ(syncsSeen, 0) << "something is synced inside the window";
}

}  // namespace
}  // namespace tarnctl
