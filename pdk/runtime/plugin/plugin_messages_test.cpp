#include <gtest/gtest.h>

#include <cstring>

#include "cfipluginbase.h"

namespace {

CFiSmartPtr<CFiMessage> udid(const char* text, int code) {
    const icu::Formattable arguments[] = {icu::Formattable(text), icu::Formattable(int32_t{code})};
    return makeCounted<CFiIcuMessage>("MSG_ERROR_UDID_PARSING_EXCEPTION", arguments, 2, 3, "source", 17);
}

class PluginMessages : public testing::Test {
  protected:
    PluginMessages() {
        catalogs_->registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", "tarnfi"));
        plugin_.registerErrorManager(errors_);
        plugin_.registerCatalogManager(catalogs_);
    }

    CFiPluginBase plugin_;
    const CFiSmartPtr<CFiErrorManager> errors_ = makeCounted<CFiErrorManager>();
    const CFiSmartPtr<CFiMessageCatalogManager> catalogs_ = makeCounted<CFiMessageCatalogManager>();
    zfi_msg_info* list_ = nullptr;
};

TEST_F(PluginMessages, LastErrorsComeNewestFirstWithEverythingKnown) {
    errors_->pushError(udid("first", 1));
    errors_->pushError(udid("second", 2));
    ASSERT_EQ(plugin_.getLastError(&list_), ZFI_OK);
    ASSERT_NE(list_, nullptr);
    EXPECT_STREQ(list_->id, "MSG_ERROR_UDID_PARSING_EXCEPTION");
    EXPECT_STREQ(list_->text, "The unique id of a disk could not be read: second (code 2)");
    EXPECT_STREQ(list_->arguments[0], "second");
    EXPECT_STREQ(list_->arguments[1], "2");
    EXPECT_EQ(list_->arguments[2], nullptr);
    EXPECT_STREQ(list_->sourceFile, "source");
    EXPECT_EQ(list_->sourceLine, 17);
    EXPECT_EQ(list_->severity, 3);
    ASSERT_NE(list_->next, nullptr);
    EXPECT_STREQ(list_->next->arguments[0], "first");
    EXPECT_EQ(list_->next->next, nullptr);
    plugin_.delLastError(&list_);
}

TEST_F(PluginMessages, ReadingKeepsTheMessagesAndDeletingDropsThem) {
    errors_->pushError(udid("x", 1));
    zfi_msg_info* again = nullptr;
    plugin_.getLastError(&list_);
    plugin_.getLastError(&again);
    EXPECT_NE(again, nullptr);
    EXPECT_EQ(plugin_.delLastError(&again), ZFI_OK);
    EXPECT_EQ(again, nullptr);
    EXPECT_TRUE(errors_->newestFirst().empty());
    EXPECT_STREQ(list_->arguments[0], "x");  // a chain handed out stays until it is given back
    plugin_.delLastError(&list_);
    EXPECT_EQ(plugin_.getLastError(&list_), ZFI_OK);
    EXPECT_EQ(list_, nullptr);
    EXPECT_EQ(plugin_.delLastError(&list_), ZFI_OK);
}

TEST_F(PluginMessages, LastErrorsAreInTheCallersLanguage) {
    catalogs_->setNativeLanguage("de_DE");
    errors_->pushError(udid("x", 4));
    plugin_.getLastError(&list_);
    ASSERT_NE(list_, nullptr);
    EXPECT_STREQ(list_->text, "Die eindeutige Kennung einer Platte ist nicht lesbar: x (Code 4)");
    plugin_.delLastError(&list_);
}

TEST_F(PluginMessages, ALocaleMessageIsTheSameMessageInAnotherLanguage) {
    errors_->pushError(udid("x", 4));
    plugin_.getLastError(&list_);
    int length = 0;
    char* text = nullptr;
    ASSERT_EQ(plugin_.getLocaleMessage(&length, list_, "de", &text), ZFI_OK);
    EXPECT_STREQ(text, "Die eindeutige Kennung einer Platte ist nicht lesbar: x (Code 4)");
    EXPECT_EQ(length, static_cast<int>(std::strlen(text) + 1));
    EXPECT_EQ(plugin_.delLocaleMessage(&text), ZFI_OK);
    EXPECT_EQ(text, nullptr);
    for (const char* defaultLocale : {static_cast<const char*>(nullptr), "", "xx"}) {
        ASSERT_EQ(plugin_.getLocaleMessage(&length, list_, defaultLocale, &text), ZFI_OK);
        EXPECT_STREQ(text, list_->text);
        plugin_.delLocaleMessage(&text);
    }
    plugin_.delLastError(&list_);
}

TEST_F(PluginMessages, ARecordOfNothingStillHasAText) {
    zfi_msg_info empty{};
    int length = 0;
    char* text = nullptr;
    ASSERT_EQ(plugin_.getLocaleMessage(&length, &empty, "de", &text), ZFI_OK);
    EXPECT_STREQ(text, "?");
    plugin_.delLocaleMessage(&text);
}

TEST_F(PluginMessages, StatusTextsAreInTheCallersLanguage) {
    const char* text = nullptr;
    EXPECT_EQ(plugin_.errMsg(ZFI_ERR_MOUNT_FAILED, &text), ZFI_OK);
    EXPECT_STREQ(text, "A file system could not be mounted.");
    catalogs_->setNativeLanguage("de");
    EXPECT_EQ(plugin_.errMsg(ZFI_ERR_MOUNT_FAILED, &text), ZFI_OK);
    EXPECT_STREQ(text, "Ein Dateisystem konnte nicht eingehängt werden.");
}

TEST_F(PluginMessages, NullPointersAreInvalidArguments) {
    zfi_msg_info message{};
    char* text = nullptr;
    int length = 0;
    EXPECT_EQ(plugin_.getLastError(nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.delLastError(nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.getLocaleMessage(nullptr, &message, "de", &text), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.getLocaleMessage(&length, nullptr, "de", &text), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.getLocaleMessage(&length, &message, "de", nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.delLocaleMessage(nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.delLocaleMessage(&text), ZFI_OK);
    EXPECT_EQ(plugin_.errMsg(6, nullptr), ZFI_ERR_INVALID_ARGUMENT);
}

TEST_F(PluginMessages, APluginBeforeItsInitAnswersTheSame) {
    CFiPluginBase unwired;
    const char* text = nullptr;
    EXPECT_EQ(unwired.getLastError(&list_), ZFI_OK);
    EXPECT_EQ(list_, nullptr);
    EXPECT_EQ(unwired.delLastError(&list_), ZFI_OK);
    EXPECT_EQ(unwired.errMsg(0, &text), ZFI_OK);
    EXPECT_STREQ(text, "The operation succeeded.");
}

}  // namespace
