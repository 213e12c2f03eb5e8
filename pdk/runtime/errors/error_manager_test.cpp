#include <gtest/gtest.h>

#include "cfierrormanager.h"

namespace {

CFiSmartPtr<CFiMessage> message(const std::string& id) {
    return makeCounted<CFiMessage>(id, 3, "file", 1);
}

std::vector<std::string> idsOf(const CFiErrorManager& manager) {
    std::vector<std::string> ids;
    for (const auto& held : manager.newestFirst()) {
        ids.push_back(held->getMessageId());
    }
    return ids;
}

struct Handler : CFiErrorHandlerBase {
    Handler(std::vector<std::string>& received, bool& isGone) : ids(received), gone(isGone) {}
    ~Handler() override { gone = true; }
    int handleMessage(const CFiSmartPtr<CFiMessage>& handled) override {
        ids.push_back(handled->getMessageId());
        return 0;
    }
    int handleMessage(const std::string&, zfi_eseverity) override { return 0; }
    std::vector<std::string>& ids;
    bool& gone;
};

TEST(ErrorManager, KeepsMessagesNewestFirstUntilCleared) {
    CFiErrorManager manager;
    manager.pushError(message("A"));
    manager.pushError(message("B"));
    EXPECT_EQ(idsOf(manager), (std::vector<std::string>{"B", "A"}));
    manager.clear();
    EXPECT_TRUE(idsOf(manager).empty());
}

TEST(ErrorManager, TheOldestMessageMakesRoom) {
    CFiErrorManager manager;
    for (int i = 0; i <= 1000; ++i) {
        manager.pushError(message(std::to_string(i)));
    }
    const std::vector<std::string> ids = idsOf(manager);
    ASSERT_EQ(ids.size(), 1000U);
    EXPECT_EQ(ids.front(), "1000");
    EXPECT_EQ(ids.back(), "1");
}

TEST(ErrorManager, AMessageLivesAsLongAsItIsReferredTo) {
    CFiErrorManager manager;
    const auto held = message("A");
    manager.pushError(held);
    EXPECT_EQ(held->getCount(), 2);
    manager.clear();
    EXPECT_EQ(held->getCount(), 1);
}

TEST(ErrorManager, ANullMessageIsPassedOver) {
    CFiErrorManager manager;
    manager.pushError({});
    EXPECT_TRUE(manager.newestFirst().empty());
}

TEST(ErrorManager, TheHandlerGetsEveryMessageAtOnceAndANewOneReplacesIt) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    bool isFirstGone = false;
    bool isSecondGone = false;
    {
        CFiErrorManager manager;
        manager.pushError(message("unheard"));
        manager.registerHandler(std::make_unique<Handler>(first, isFirstGone).release());
        manager.pushError(message("A"));
        manager.registerHandler(std::make_unique<Handler>(second, isSecondGone).release());
        EXPECT_TRUE(isFirstGone);
        manager.pushError(message("B"));
        EXPECT_FALSE(isSecondGone);
    }
    EXPECT_TRUE(isSecondGone);
    EXPECT_EQ(first, (std::vector<std::string>{"A"}));
    EXPECT_EQ(second, (std::vector<std::string>{"B"}));
}

TEST(ErrorManager, AHandlerMayPushAndReadItself) {
    struct Reading : CFiErrorHandlerBase {
        explicit Reading(CFiErrorManager& owner) : manager(owner) {}
        int handleMessage(const CFiSmartPtr<CFiMessage>&) override {
            seen = manager.newestFirst().size();
            if (seen < 3) {
                manager.pushError(message("again"));
            }
            return 0;
        }
        int handleMessage(const std::string&, zfi_eseverity) override { return 0; }
        CFiErrorManager& manager;
        size_t seen = 0;
    };
    CFiErrorManager manager;
    manager.registerHandler(std::make_unique<Reading>(manager).release());
    manager.pushError(message("first"));
    EXPECT_EQ(manager.newestFirst().size(), 3U);
}

}  // namespace
