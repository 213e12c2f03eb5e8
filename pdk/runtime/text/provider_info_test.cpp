#include <gtest/gtest.h>

#include "cfiproviderinfo.h"

namespace {

struct Listed {
    ~Listed() { znfi_free_providerlist(head); }
    zfi_provider_list* head = nullptr;
};

TEST(ProviderInfo, TheTypeListGrowsWithEachType) {
    CFiProviderInfo info(16, 2);
    ASSERT_NE(info.getTypeList(), nullptr);
    EXPECT_EQ(info.getTypeList()[0], nullptr);
    for (const char* type : {"ext2", "ext3", "jfs", "reiserfs", "xfs"}) {
        info.addType(type);
    }
    EXPECT_STREQ(info.getTypeList()[0], "ext2");
    EXPECT_STREQ(info.getTypeList()[4], "xfs");
    EXPECT_EQ(info.getTypeList()[5], nullptr);
    EXPECT_EQ(info.getCapabilities(), 16U);
    EXPECT_EQ(info.getKind(), 2U);
}

TEST(ProviderInfo, TheListHoldsOneNodePerInfoInOrder) {
    Listed list;
    {
        CFiProviderInfoListFactory factory("tarnfi", {7, 0, 0, 0}, &list.head);
        CFiProviderInfo first(16, 2);
        first.addType("xfs");
        CFiProviderInfo second(1, 3);
        factory.add(first);
        factory.add(second);
        EXPECT_EQ(list.head, nullptr);
        factory.finish();
    }
    ASSERT_NE(list.head, nullptr);
    EXPECT_STREQ(list.head->name, "tarnfi");
    EXPECT_EQ(list.head->version.major, 7);
    EXPECT_EQ(list.head->capabilities, 16U);
    EXPECT_EQ(list.head->kind, 2U);
    EXPECT_STREQ(list.head->fiTypes[0], "xfs");
    EXPECT_EQ(list.head->fiTypes[1], nullptr);
    ASSERT_NE(list.head->next, nullptr);
    EXPECT_EQ(list.head->next->kind, 3U);
    EXPECT_EQ(list.head->next->next, nullptr);
}

struct Unbuildable : CFiList<zfi_provider_list, CFiProviderInfo> {
    using CFiList::CFiList;
    zfi_provider_list* allocateListElement(CFiProviderInfo&) override { return nullptr; }
};

TEST(ProviderInfo, AFrameworkThatBuildsNoNodeGivesAnEmptyList) {
    zfi_provider_list* head = nullptr;
    int count = 0;
    Unbuildable list(&head, &count);
    CFiProviderInfo info(16, 2);
    list.add(info);
    list.finish();
    EXPECT_EQ(head, nullptr);
    EXPECT_EQ(count, 0);
}

struct Counting : CFiList<zfi_provider_list, CFiProviderInfo> {
    using CFiList::CFiList;
    zfi_provider_list* allocateListElement(CFiProviderInfo&) override {
        return znfi_build_providerlist_node("p", 0, 0, nullptr, nullptr);
    }
};

TEST(ProviderInfo, ABoundCounterCounts) {
    Listed listed;
    int count = 0;
    Counting list(&listed.head, &count);
    CFiProviderInfo info(0, 0);
    list.add(info);
    list.add(info);
    list.finish();
    EXPECT_EQ(count, 2);
}

}  // namespace
