#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "cfisingleton.h"
#include "cfismartptr.h"

namespace {

struct Counted : CFiRefCount {
    explicit Counted(int& alive) : count(alive) { ++count; }
    ~Counted() override {
        const CFiSmartPtr<Counted> again(this);  // must not delete it a second time
        --count;
    }
    int& count;
};

TEST(SmartPtr, DeletesWithTheLastReference) {
    int alive = 0;
    {
        auto first = makeCounted<Counted>(alive);
        CFiSmartPtr<CFiRefCount> base(first);
        EXPECT_EQ(first->getCount(), 2);
        first.reset();
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(base->getCount(), 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(SmartPtr, CountsAreKeptAmongThreads) {
    int alive = 0;
    auto shared = makeCounted<Counted>(alive);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([shared] {
            for (int copy = 0; copy < 10'000; ++copy) {
                const CFiSmartPtr<Counted> another(shared);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(shared->getCount(), 1);
    EXPECT_EQ(alive, 1);
}

struct OneContext;
struct OtherContext;
struct Single : CFiRefCount {};

TEST(Singleton, DestroyingWhatIsNotThereIsNullAndDoesNothing) {
    struct Never : CFiRefCount {};
    EXPECT_FALSE((CFiContextSingleton<Never, OneContext>::instance(true)));
}

TEST(Singleton, IsOnePerContextUntilItIsDestroyed) {
    using One = CFiContextSingleton<Single, OneContext>;
    const auto first = One::instance(false);
    EXPECT_EQ(One::instance(false), first);
    EXPECT_FALSE((CFiContextSingleton<Single, OtherContext>::instance(false) == first));
    EXPECT_EQ(first->getCount(), 2);
    EXPECT_FALSE(One::instance(true));
    EXPECT_EQ(first->getCount(), 1);
    EXPECT_FALSE(One::instance(false) == first);
    One::instance(true);
}

}  // namespace
