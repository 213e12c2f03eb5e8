// Every allocation on the way of a call is refused once, by turns. The call answers one of its statuses, or lets
// std::bad_alloc through, which no clause of a method takes; either way its scopes are closed, nothing is left over,
// and the same call works right after.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <set>

#include "bed/bed.h"
#include "bed/layout.h"

namespace {

using namespace bed;

constexpr int kEscaped = -1;  // std::bad_alloc
constexpr int kMostAllocations = 3000;

int openScopes = 0;

// Takes no memory of its own.
void countScopes(void*, int, const char*, const char* text) {
    openScopes += std::strncmp(text, "Entering Function", 17) == 0;
    openScopes -= std::strncmp(text, "Exiting Function", 16) == 0;
}

struct Call {
    const char* name;
    std::set<int> statuses;  // what it may answer when memory is out
    std::function<void(Bed&)> before;
    std::function<int(Bed&)> call;
    std::function<void(Bed&, int status)> after;  // gives back what a success handed out, and looks at the rest
};

const char* const kTable = "/dev/sdb1 /data xfs rw 0 0\n";

void newNode(Bed& bed) {
    shapeHost({.mountTable = kTable});
    bed.node("/data", {"/data"});
}

void knownNode(Bed& bed) {
    bed.initialised("/data", kTable);
}

void endNode(Bed& bed, int) {
    bed.call().deinit_node(bed.lastNode());
}

void endList(Bed& bed, int status) {
    if (status == ZFI_OK) {
        EXPECT_EQ(bed.outInt, 1);
        znfi_free_buf(bed.outObjects, static_cast<size_t>(bed.outInt) * sizeof(znfi_objid*));
    } else {
        EXPECT_EQ(bed.outObjects, nullptr);
    }
    bed.outObjects = nullptr;
    endNode(bed, status);
}

void endPaths(Bed& bed, int status) {
    if (status == ZFI_OK) {
        ASSERT_EQ(bed.outInt, 1);
        ASSERT_NE(bed.outPaths, nullptr);
        EXPECT_STREQ(bed.outPaths[0], BED_ROOT);
        znfi_free_buf(bed.outPaths[0], std::strlen(bed.outPaths[0]) + 1);
        std::free(bed.outPaths);
    } else {
        EXPECT_EQ(bed.outPaths, nullptr);
    }
    bed.outPaths = nullptr;
}

void endBlob(Bed& bed, int status) {
    EXPECT_EQ(bed.blob.data != nullptr, status == ZFI_OK);
    znfi_free_buf(bed.blob.data, bed.blob.length);
    bed.blob = {};
    endNode(bed, status);
}

zfi_msg_info* messages = nullptr;
char* text = nullptr;
zfi_provider_list* providers = nullptr;

int getMessageText(Bed& bed) {
    int length = 0;
    return bed.call().get_locale_message(&length, messages, "de", &text);
}

void endText(Bed& bed, int status) {
    EXPECT_EQ(text != nullptr, status == ZFI_OK);
    bed.call().del_locale_message(&text);
    text = nullptr;
    bed.call().del_last_error(&messages);
}

void endMessages(Bed& bed, int status) {
    EXPECT_EQ(messages != nullptr, status == ZFI_OK);
    bed.call().del_last_error(&messages);
}

int onlineIt(Bed& bed) {
    static char device[] = "/dev/sdb1";
    static char place[] = BED_ROOT;
    static char* devices[] = {device};
    return bed.call().online_resource(devices, 1, place, nullptr, nullptr, nullptr, 0, &bed.outPaths, &bed.outInt);
}

const Call kCalls[] = {
    {"init_node",
     {0, ZFI_ERR_NO_MEMORY, ZFI_ERR_MOUNT_TABLE},
     newNode,
     [](Bed& bed) { return bed.call().init_node(bed.lastNode(), nullptr, 0, nullptr); },
     endNode},
    {"subobj_list",
     {0, ZFI_ERR_NO_MEMORY},
     knownNode,
     [](Bed& bed) { return bed.call().subobj_list(bed.lastNode(), &bed.outObjects, &bed.outInt); },
     endList},
    {"process_providerstate",
     {0, ZFI_ERR_NO_MEMORY},
     knownNode,
     [](Bed& bed) { return bed.call().process_providerstate(bed.lastNode(), &bed.blob, ZFI_STATE_SAVE); },
     endBlob},
    {"online_resource",
     {0, ZFI_ERR_NO_MEMORY, ZFI_ERR_FAILED, ZFI_ERR_MOUNT_TABLE},
     [](Bed&) { shapeHost({}); },
     onlineIt,
     endPaths},
    {"get_locale_message",
     {0, ZFI_ERR_NO_MEMORY},
     [](Bed& bed) {
         bed.call().init_altnode(nullptr, nullptr, nullptr);
         bed.call().get_last_error(&messages);
     },
     getMessageText,
     endText},
    {"get_last_error",
     {0},
     [](Bed& bed) { bed.call().init_altnode(nullptr, nullptr, nullptr); },
     [](Bed& bed) { return bed.call().get_last_error(&messages); },
     endMessages},
    {"get_provider_info",
     {0},
     [](Bed&) {},
     [](Bed& bed) { return bed.call().get_provider_info(&providers); },
     [](Bed&, int) {
         znfi_free_providerlist(providers);
         providers = nullptr;
     }},
    {"quiesce",
     {0, ZFI_ERR_FAILED},
     knownNode,
     [](Bed& bed) { return bed.call().quiesce(bed.lastNode()->quiesce, nullptr, 0, nullptr); },
     endNode},
    {"init_altnode",
     {ZFI_ERR_FAILED},
     [](Bed&) {},
     [](Bed& bed) { return bed.call().init_altnode(nullptr, nullptr, nullptr); },
     [](Bed& bed, int status) {
         EXPECT_EQ(bed.call().get_last_error(&messages), ZFI_OK);
         EXPECT_TRUE(messages != nullptr || status == kEscaped);  // it is kept before it is handed on
         bed.call().del_last_error(&messages);
     }},
};

// The status, or kEscaped.
int callWithout(int nth, const Call& entry, Bed& bed) {
    openScopes = 0;
    znfi_trace_sink(countScopes, nullptr);
    int status = kEscaped;
    refuseMemoryAt(nth);
    try {
        status = entry.call(bed);
    } catch (const std::bad_alloc&) {
    }
    refuseMemoryAt(0);
    recordTrace();
    return status;
}

int descriptors() {
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        count += fcntl(fd, F_GETFD) >= 0;
    }
    return count;
}

// The runner kills the command of a call that memory ended, and reaps it in a later run: it is on its way out.
bool noChildIsLeft() {
    for (int waits = 0; waits < 5000; ++waits) {
        if (waitpid(-1, nullptr, WNOHANG) < 0) {
            return true;
        }
        usleep(1000);
    }
    return false;
}

// What the call answers when nothing is refused, once more after every refusal.
void expectItWorks(const Call& entry, Bed& bed, int wanted) {
    entry.before(bed);
    EXPECT_EQ(entry.call(bed), wanted);
    entry.after(bed, wanted);
}

void checkRefusals(const Call& entry) {
    Bed bed;
    entry.before(bed);
    const int wanted = entry.call(bed);
    entry.after(bed, wanted);
    const int64_t buffers = znfi_outstanding_bufs();
    const int open = descriptors();
    int nth = 1;
    for (; nth < kMostAllocations; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        entry.before(bed);
        const int status = callWithout(nth, entry, bed);
        const bool hadEnough = !wasMemoryRefused();
        EXPECT_EQ(openScopes, 0);
        EXPECT_TRUE(status == kEscaped || status == wanted || entry.statuses.count(status) != 0) << status;
        entry.after(bed, status);
        EXPECT_EQ(znfi_outstanding_bufs(), buffers);
        expectItWorks(entry, bed, wanted);
        if (hadEnough || testing::Test::HasFailure()) {
            break;
        }
    }
    testing::Test::RecordProperty("allocations", nth - 1);
    EXPECT_GT(nth, 1) << "nothing was refused";
    EXPECT_LT(nth, kMostAllocations);
    EXPECT_EQ(descriptors(), open);
    EXPECT_TRUE(noChildIsLeft());
}

class MemoryTest : public testing::Test {
  public:
    explicit MemoryTest(const Call& entry) : entry_(entry) {}
    void TestBody() override {
        if (!reasonToSkip().empty() || !canRefuseMemory()) {
            GTEST_SKIP() << (canRefuseMemory() ? reasonToSkip() : "a sanitizer owns malloc");
        }
        checkRefusals(entry_);
    }

  private:
    const Call& entry_;
};

[[maybe_unused]] const bool registered = [] {
    for (const Call& entry : kCalls) {
        testing::RegisterTest("WithoutMemory", entry.name, nullptr, nullptr, __FILE__, __LINE__,
                              [&entry] { return new MemoryTest(entry); });
    }
    return true;
}();

}  // namespace
