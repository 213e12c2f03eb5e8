#include <gtest/gtest.h>

#include <string>

#include "znfi.h"

namespace {

TEST(ProviderList, ANodeHoldsCopiesOfEverything) {
    std::string name = "tarnfi";
    std::string type = "xfs";
    char* types[] = {type.data(), nullptr};
    const zfi_version version{7, 1, 2, 3};
    zfi_provider_list* node = znfi_build_providerlist_node(name.c_str(), 16, 2, &version, types);
    ASSERT_NE(node, nullptr);
    name[0] = type[0] = '?';
    EXPECT_STREQ(node->name, "tarnfi");
    EXPECT_EQ(node->capabilities, 16U);
    EXPECT_EQ(node->kind, 2U);
    EXPECT_EQ(node->version.major, 7);
    EXPECT_EQ(node->version.build, 3);
    EXPECT_STREQ(node->fiTypes[0], "xfs");
    EXPECT_EQ(node->fiTypes[1], nullptr);
    EXPECT_EQ(node->next, nullptr);
    znfi_free_providerlist(node);
}

TEST(ProviderList, MissingPartsAreEmpty) {
    zfi_provider_list* node = znfi_build_providerlist_node(nullptr, 0, 0, nullptr, nullptr);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->name, "");
    EXPECT_EQ(node->fiTypes[0], nullptr);
    EXPECT_EQ(node->version.major, 0);
    znfi_free_providerlist(node);
}

TEST(ProviderList, AWholeChainIsFreed) {
    zfi_provider_list* head = nullptr;
    for (int i = 0; i < 3; ++i) {
        zfi_provider_list* node = znfi_build_providerlist_node("p", 0, 0, nullptr, nullptr);
        ASSERT_NE(node, nullptr);
        node->next = head;
        head = node;
    }
    znfi_free_providerlist(head);  // a leak checker watches
    znfi_free_providerlist(nullptr);
}

}  // namespace
