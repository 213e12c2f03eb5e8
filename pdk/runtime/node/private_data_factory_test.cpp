#include <gtest/gtest.h>

#include <stdexcept>

#include "cfiprivatedatafactory.h"
#include "runtime_testing.h"

namespace {

// A node as a framework makes it.
struct Node {
    explicit Node(const std::string& name) {
        domain.objid = znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_NAMED);
    }
    zfi_domain domain{};
};

class PrivateDataFactory : public testing::Test {
  protected:
    CFiPrivateDataConcreteFactory<CFiPrivateData> factory_;
    Node node_{"/data"};
    Node sameName_{"/data"};
    Node other_{"/other"};
};

TEST_F(PrivateDataFactory, OneNameAndFlagSharesAnObjectAndTwoFlagsDoNot) {
    const auto source = factory_.allocate(&node_.domain, false);
    EXPECT_EQ(factory_.allocate(&sameName_.domain, false), source);
    Node alternate("/data");
    const auto alternateData = factory_.allocate(&alternate.domain, true);
    EXPECT_FALSE(alternateData == source);
    EXPECT_TRUE(alternateData->getIsAltNode());
    EXPECT_STREQ(source->getObjName(), "/data");
    for (zfi_domain* domain : {&node_.domain, &sameName_.domain, &alternate.domain}) {
        EXPECT_EQ(factory_.deallocate(domain), 0);
    }
}

TEST_F(PrivateDataFactory, AFullSlotIsAnsweredWhateverTheFlag) {
    const auto data = factory_.allocate(&node_.domain, false);
    EXPECT_EQ(factory_.allocate(&node_.domain, true), data);
    EXPECT_TRUE(factory_.getPrivateDataList(true).empty());
    factory_.deallocate(&node_.domain);
}

TEST_F(PrivateDataFactory, AnObjectGoesWithTheLastNodeOfItsName) {
    factory_.allocate(&node_.domain, false);
    factory_.allocate(&sameName_.domain, false);
    EXPECT_EQ(factory_.deallocate(&node_.domain), 0);
    EXPECT_EQ(node_.domain.privateData, nullptr);
    EXPECT_TRUE(factory_.accessByName("/data", false));
    EXPECT_EQ(factory_.deallocate(&sameName_.domain), 0);
    EXPECT_FALSE(factory_.accessByName("/data", false));
}

TEST_F(PrivateDataFactory, StateOutlivesTheNodeWhileSomebodyElseRefersToIt) {
    auto held = factory_.allocate(&node_.domain, false);
    held->setSessionId("kept");
    EXPECT_EQ(factory_.deallocate(&node_.domain), 0);
    EXPECT_EQ(factory_.allocate(&sameName_.domain, false)->getSessionId(), "kept");
    held.reset();
    factory_.deallocate(&sameName_.domain);
    EXPECT_FALSE(factory_.accessByName("/data", false));
}

TEST_F(PrivateDataFactory, TheAlternateNodesEntryGoesFromItsOwnMap) {
    factory_.allocate(&node_.domain, false);
    Node alternate("/data");
    factory_.allocate(&alternate.domain, true);
    EXPECT_EQ(factory_.deallocate(&alternate.domain), 0);
    EXPECT_FALSE(factory_.accessByName("/data", true));
    EXPECT_TRUE(factory_.accessByName("/data", false));
    factory_.deallocate(&node_.domain);
}

TEST_F(PrivateDataFactory, NothingAttachedIsMinusOneAndNull) {
    EXPECT_EQ(factory_.deallocate(nullptr), -1);
    EXPECT_EQ(factory_.deallocate(&node_.domain), -1);
    EXPECT_FALSE(factory_.access(nullptr));
    EXPECT_FALSE(factory_.access(&node_.domain));
}

TEST_F(PrivateDataFactory, ANameNeverAllocatedIsNull) {
    factory_.allocate(&node_.domain, false);
    for (const char* name : {"/never", "/dat", "/data/", ""}) {
        EXPECT_FALSE(factory_.accessByName(name, false)) << name;
    }
    EXPECT_FALSE(factory_.accessByName("/data", true));
    factory_.deallocate(&node_.domain);
}

TEST_F(PrivateDataFactory, ListsOneMapInKeyOrder) {
    factory_.allocate(&other_.domain, false);
    factory_.allocate(&node_.domain, false);
    Node alternate("/a");
    factory_.allocate(&alternate.domain, true);
    std::vector<std::string> names;
    for (const auto& data : factory_.getPrivateDataList(false)) {
        names.emplace_back(data->getObjName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"/data", "/other"}));
    for (zfi_domain* domain : {&node_.domain, &other_.domain, &alternate.domain}) {
        factory_.deallocate(domain);
    }
}

TEST_F(PrivateDataFactory, HandsItsTraceLogToWhatItMakes) {
    const auto log = znfi_testing::namedLog("p");
    factory_.registerTraceLog(log);
    EXPECT_EQ(factory_.allocate(&node_.domain, false)->traceLog(), log);
    factory_.deallocate(&node_.domain);
}

TEST(PrivateDataFactories, AnObjectThatCannotBeMadeLeavesNothingBehind) {
    struct Unmakeable : CFiPrivateData {
        Unmakeable(znfi_objid* objid, bool isAltNode) : CFiPrivateData(objid, isAltNode) {
            throw std::runtime_error("no");
        }
    };
    CFiPrivateDataConcreteFactory<Unmakeable> factory;
    Node node("/data");
    EXPECT_THROW(factory.allocate(&node.domain, false), std::runtime_error);
    EXPECT_EQ(node.domain.privateData, nullptr);
    EXPECT_TRUE(factory.getPrivateDataList(false).empty());
}

TEST(PrivateDataManager, ReplacesAndReleasesTheFactory) {
    CFiPrivateDataManager manager;
    EXPECT_FALSE(manager.getFactory());
    CFiSmartPtr<CFiPrivateDataFactory> first(makeCounted<CFiPrivateDataConcreteFactory<CFiPrivateData>>());
    manager.registerFactory(first);
    EXPECT_EQ(first->getCount(), 2);
    manager.registerFactory(makeCounted<CFiPrivateDataConcreteFactory<CFiPrivateData>>());
    EXPECT_EQ(first->getCount(), 1);
    EXPECT_FALSE(manager.getFactory() == first);
}

}  // namespace
