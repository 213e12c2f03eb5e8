#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "znfi.h"

namespace {

znfi_objid* idOf(const std::string& name, int flag) {
    return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), flag);
}

TEST(ObjectId, CarriesACopyOfTheNameItsLengthAndTheFlag) {
    std::string name = "/data";
    const znfi_objid* id = idOf(name, ZFI_OBJID_NAMED);
    ASSERT_NE(id, nullptr);
    name[1] = 'X';
    EXPECT_STREQ(id->name, "/data");
    EXPECT_EQ(id->length, 6U);
    EXPECT_EQ(id->flag, 1U);
}

TEST(ObjectId, OneNameAndFlagIsOneAddress) {
    EXPECT_EQ(idOf("/one", ZFI_OBJID_NAMED), idOf("/one", ZFI_OBJID_NAMED));
    EXPECT_NE(idOf("/one", ZFI_OBJID_NAMED), idOf("/one", ZFI_OBJID_SUBOBJECT));
    EXPECT_NE(idOf("/one", ZFI_OBJID_NAMED), idOf("/two", ZFI_OBJID_NAMED));
}

TEST(ObjectId, AnEmptyNameMakesOnlyASubObjectId) {
    EXPECT_EQ(znfi_get_objid("", 1, ZFI_OBJID_NAMED), nullptr);
    const znfi_objid* id = znfi_get_objid("", 1, ZFI_OBJID_SUBOBJECT);
    ASSERT_NE(id, nullptr);
    EXPECT_STREQ(id->name, "");
    EXPECT_EQ(id->length, 1U);
}

TEST(ObjectId, ANullNameMakesNone) {
    EXPECT_EQ(znfi_get_objid(nullptr, 5, ZFI_OBJID_SUBOBJECT), nullptr);
}

TEST(ObjectId, TheNameEndsAtItsLengthOrItsFirstTerminator) {
    EXPECT_STREQ(znfi_get_objid("/long/name", 6, ZFI_OBJID_NAMED)->name, "/long");
    const char terminated[] = {'/', 'a', '\0', 'b', '\0'};
    EXPECT_EQ(znfi_get_objid(terminated, sizeof terminated, ZFI_OBJID_NAMED), idOf("/a", ZFI_OBJID_NAMED));
    EXPECT_EQ(znfi_get_objid("x", 0, ZFI_OBJID_NAMED), nullptr);
}

TEST(ObjectId, ThreadsAgreeOnTheAddresses) {
    constexpr int kNames = 200;
    std::vector<std::vector<znfi_objid*>> seen(4);
    std::vector<std::thread> threads;
    for (auto& ids : seen) {
        threads.emplace_back([&ids] {
            for (int i = 0; i < kNames; ++i) {
                ids.push_back(idOf("/shared/" + std::to_string(i), ZFI_OBJID_NAMED));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& ids : seen) {
        EXPECT_EQ(ids, seen.front());
    }
    EXPECT_EQ(std::set<znfi_objid*>(seen.front().begin(), seen.front().end()).size(), static_cast<size_t>(kNames));
}

}  // namespace
