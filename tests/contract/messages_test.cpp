// Messages on their way to the framework: at once through the callback, later through the last-error calls.
#include <gtest/gtest.h>

#include "bed/bed.h"

namespace {

using namespace bed;

struct Received {
    std::vector<std::string> defaultTexts;
    std::vector<std::string> localTexts;
};

void receive(zfi_init* init, const char* defaultText, const char* localText, int32_t) {
    auto* received = static_cast<Received*>(init->context);
    received->defaultTexts.emplace_back(defaultText);
    received->localTexts.emplace_back(localText);
}

class MessageRoad : public testing::Test {
  protected:
    void SetUp() override {
        if (!reasonToSkip().empty()) {
            GTEST_SKIP() << reasonToSkip();
        }
        bed_ = std::make_unique<Bed>();
        init_.message = receive;
        init_.context = &received_;
    }
    void start() {
        zfi_version version{};
        ASSERT_EQ(call().init(&init_, &version, "fim"), ZFI_OK);
    }
    void startIn(char* language) {
        language_ = language;
        init_.language = &language_;
        start();
    }
    const EntryPoints& call() { return bed_->call(); }
    // One message of the framework-error kind.
    void fail() { call().init_altnode(nullptr, nullptr, nullptr); }
    // The text of the newest message in a locale.
    std::string textIn(const char* locale) {
        zfi_msg_info* list = nullptr;
        char* text = nullptr;
        int length = 0;
        EXPECT_EQ(call().get_last_error(&list), ZFI_OK);
        EXPECT_EQ(call().get_locale_message(&length, list, locale, &text), ZFI_OK);
        const std::string copy = text == nullptr ? "" : text;
        call().del_locale_message(&text);
        call().del_last_error(&list);
        return copy;
    }

    std::unique_ptr<Bed> bed_;
    Received received_;
    zfi_init init_{};
    char* language_ = nullptr;
};

TEST_F(MessageRoad, arrive_in_the_default_locale_and_in_the_callers_language) {
    char german[] = "de";
    startIn(german);
    fail();
    fail();
    ASSERT_EQ(received_.defaultTexts.size(), 2U);
    const std::string localText = textIn("de");  // drops the messages
    fail();
    EXPECT_EQ(received_.defaultTexts[0], textIn(""));
    EXPECT_EQ(received_.localTexts[0], localText);
    EXPECT_NE(received_.localTexts[0], received_.defaultTexts[0]);
    EXPECT_NE(received_.defaultTexts[0].find("initAltNode(), target node is invalid."), std::string::npos);
}

TEST_F(MessageRoad, an_unknown_language_gives_the_default_text) {
    char unknown[] = "xx_YY";
    startIn(unknown);
    fail();
    ASSERT_EQ(received_.localTexts.size(), 1U);
    EXPECT_EQ(received_.localTexts[0], received_.defaultTexts[0]);
}

TEST_F(MessageRoad, a_null_language_gives_the_default_text) {
    startIn(nullptr);
    fail();
    ASSERT_EQ(received_.localTexts.size(), 1U);
    EXPECT_EQ(received_.localTexts[0], received_.defaultTexts[0]);
}

TEST_F(MessageRoad, a_second_init_replaces_the_callback) {
    start();
    fail();
    EXPECT_EQ(received_.defaultTexts.size(), 1U);
    EXPECT_TRUE(bed_->receiver().severities.empty()) << "the callback of the first init was called";
}

TEST_F(MessageRoad, without_callback_or_init_record_they_are_kept_all_the_same) {
    zfi_version version{};
    zfi_init silent{};
    ASSERT_EQ(call().init(&silent, &version, nullptr), ZFI_OK);
    fail();
    ASSERT_EQ(call().init(nullptr, &version, nullptr), ZFI_OK);
    fail();
    zfi_msg_info* list = nullptr;
    ASSERT_EQ(call().get_last_error(&list), ZFI_OK);
    ASSERT_NE(list, nullptr);
    ASSERT_NE(list->next, nullptr);
    EXPECT_EQ(list->next->next, nullptr);
    call().del_last_error(&list);
}

TEST_F(MessageRoad, are_read_newest_first_and_dropped_together) {
    fail();
    shapeHost({.answers = {{.command = "xfs_freeze", .exitStatus = 1}}});
    Node& node = bed_->restored("/data", {.type = "xfs"});
    zfi_quiescenode record{nullptr, &node.domain, nullptr};
    call().quiesce(&record, nullptr, 0, nullptr);
    zfi_msg_info* list = nullptr;
    ASSERT_EQ(call().get_last_error(&list), ZFI_OK);
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list->id, "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION");
    ASSERT_NE(list->next, nullptr);
    EXPECT_STREQ(list->next->id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
    EXPECT_EQ(list->next->next, nullptr);
    EXPECT_EQ(call().del_last_error(&list), ZFI_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(call().get_last_error(&list), ZFI_OK);
    EXPECT_EQ(list, nullptr);
}

TEST_F(MessageRoad, errmsg_speaks_the_callers_language) {
    char german[] = "de";
    const char* plain = nullptr;
    const char* local = nullptr;
    ASSERT_EQ(call().errmsg(ZFI_ERR_BUSY, &plain), ZFI_OK);
    const std::string before = plain;
    startIn(german);
    ASSERT_EQ(call().errmsg(ZFI_ERR_BUSY, &local), ZFI_OK);
    EXPECT_NE(before, local);
}

}  // namespace
