// The provider's answers, one entry point at a time; needs root.
#include <cstring>

#include "loop_framework.h"

namespace loopfi {
namespace {

using Leftovers = std::vector<std::string>;

TEST_F(LoopProviderTest, HasEveryEntryPoint) {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) EXPECT_NE(provider_->name, nullptr) << #name;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
}

TEST_F(LoopProviderTest, ClaimsLoopDevicesOnly) {
    const std::string device = origin("disk");
    const auto claim = [&](const std::string& name) {
        znfi_objid** subObjects = nullptr;
        int count = 7;
        const int status = provider_->claim(Node(name).domain.objid, &subObjects, &count);
        EXPECT_EQ(subObjects, nullptr);
        EXPECT_EQ(count, 0);
        return status;
    };
    EXPECT_EQ(claim(device), ZFI_CLAIMED);
    for (const std::string& name : {imageOf("disk"), bed_->directory(), std::string("/dev/null"), std::string("/")}) {
        EXPECT_EQ(claim(name), ZFI_OK) << name;
    }
    ASSERT_TRUE(LoopTestBed::run("rm '" + imageOf("disk") + "'"));
    EXPECT_EQ(claim(device), ZFI_OK) << "its file is deleted";
}

TEST_F(LoopProviderTest, FillsANode) {
    const std::string device = origin("disk");
    Node& origin = node(device);
    EXPECT_STREQ(origin.domain.displayName, device.c_str());
    EXPECT_EQ(origin.domain.characteristics, ZFI_CHARACTERISTICS);
    EXPECT_EQ(origin.domain.quiesce, nullptr);
    znfi_objid** subObjects = nullptr;
    int count = 7;
    EXPECT_EQ(provider_->subobj_list(&origin.domain, &subObjects, &count), ZFI_OK);
    EXPECT_EQ(count, 0);
    int exists = -1;
    EXPECT_EQ(provider_->check_node_existence(&origin.domain, &exists), ZFI_OK);
    EXPECT_EQ(exists, 1);
    ASSERT_TRUE(LoopTestBed::run("losetup -d " + device));
    EXPECT_EQ(provider_->check_node_existence(&origin.domain, &exists), ZFI_OK);
    EXPECT_EQ(exists, 0);
    Node gone(device);
    EXPECT_EQ(provider_->init_node(&gone.domain, nullptr, 0, nullptr), ZFI_ERR_FAILED);
    provider_->deinit_node(&gone.domain);
}

TEST_F(LoopProviderTest, TellsWhoItIs) {
    zfi_provider_list* list = nullptr;
    ASSERT_EQ(provider_->get_provider_info(&list), ZFI_OK);
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list->name, "loopfi");
    EXPECT_EQ(list->version.major, 7);
    EXPECT_STREQ(list->fiTypes[0], "loop");
    EXPECT_EQ(list->next, nullptr);
    znfi_free_providerlist(list);
    Node any("/dev/loop0");
    int answer = 7;
    any.domain.fiTypeResult = &answer;
    char known[] = "any";
    char unknown[] = "xfs_freeze";
    EXPECT_EQ(provider_->supports_fitype(&any.domain, known), 1);
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(provider_->supports_fitype(&any.domain, unknown), 0);
    EXPECT_EQ(answer, 0);
}

TEST_F(LoopProviderTest, RefusesWhatDoesNotFitTheBudget) {
    Node& origin = node(this->origin("disk"));
    EXPECT_EQ(selectAndPrepare({&origin}, "tight", 1), ZFI_ERR_FAILED);
    EXPECT_EQ(leftovers(), Leftovers{});
    zfi_msg_info* messages = nullptr;
    ASSERT_EQ(provider_->get_last_error(&messages), ZFI_OK);
    ASSERT_NE(messages, nullptr);
    EXPECT_NE(std::strstr(messages->arguments[1], "more than a third of the 1 ms"), nullptr) << messages->arguments[1];
    EXPECT_EQ(make({&origin}, "tight").status, ZFI_ERR_FAILED) << "made without being prepared";
    EXPECT_EQ(leftovers(), Leftovers{});
}

TEST_F(LoopProviderTest, RefusesUnsafeIds) {
    Node& origin = node(this->origin("disk"));
    for (const char* id : {"", "../x", "a b"}) {
        EXPECT_EQ(selectAndPrepare({&origin}, id), ZFI_ERR_FAILED) << id;
    }
    EXPECT_EQ(leftovers(), Leftovers{});
}

TEST_F(LoopProviderTest, LeavesAForeignFileAlone) {
    Node& origin = node(this->origin("disk"));
    const std::string taken = imageOf("disk") + ".tarnfi-mine";
    ASSERT_TRUE(LoopTestBed::run("echo somebody > '" + taken + "'"));
    EXPECT_EQ(selectAndPrepare({&origin}, "mine"), ZFI_ERR_FAILED);
    EXPECT_EQ(dispose(origin, "mine"), ZFI_ERR_FAILED);
    EXPECT_EQ(LoopTestBed::output("cat '" + taken + "'"), "somebody");
}

TEST_F(LoopProviderTest, DisposingOfNothingIsHarmless) {
    const std::string device = origin("disk");
    Node& origin = node(device);
    EXPECT_EQ(dispose(origin), ZFI_OK);
    EXPECT_EQ(dispose(origin, "never-made"), ZFI_OK);
    EXPECT_TRUE(isAttached(device));
    EXPECT_TRUE(exists(imageOf("disk")));
}

TEST_F(LoopProviderTest, RefusesBlobsThatAreNotItsOwn) {
    Node& origin = node(this->origin("disk"));
    EXPECT_EQ(restore(origin, "<DEV_NAME>/dev/sda1</DEV_NAME>\n"), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(provider_->process_providerstate(&origin.domain, nullptr, ZFI_STATE_RESTORE), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(provider_->process_providerstate(&origin.domain, nullptr, ZFI_STATE_SAVE), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(restore(origin, save(origin)), ZFI_OK);
}

}  // namespace
}  // namespace loopfi
