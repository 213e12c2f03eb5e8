#include <gtest/gtest.h>

#include "cfierrormanager.h"

namespace {

struct Received {
    zfi_init* init;
    std::string defaultText;
    std::string localText;
    int severity;
};

std::vector<Received>& received() {
    static std::vector<Received> all;
    return all;
}

void receive(zfi_init* init, const char* defaultText, const char* localText, int32_t severity) {
    received().push_back({init, defaultText, localText, severity});
}

class ErrorHandler : public testing::Test {
  protected:
    ErrorHandler() {
        received().clear();
        catalogs_->registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", "tarnfi"));
    }

    const CFiSmartPtr<CFiMessage> failed_ = makeCounted<CFiMessage>("MSG_ERROR_INITIALIZATION_FAILED", 2, "file", 1);
    const CFiSmartPtr<CFiMessageCatalogManager> catalogs_ = makeCounted<CFiMessageCatalogManager>();
    zfi_init init_{&receive, nullptr, nullptr};
};

TEST_F(ErrorHandler, ForwardsTheDefaultTextAndTheTextInTheCallersLanguage) {
    CFiErrorHandler handler(&init_, "de", catalogs_);
    EXPECT_EQ(handler.handleMessage(failed_), 0);
    ASSERT_EQ(received().size(), 1U);
    EXPECT_EQ(received()[0].init, &init_);
    EXPECT_EQ(received()[0].defaultText,
              "The plug-in could not be started. The message reported before this one names the cause.");
    EXPECT_EQ(
        received()[0].localText,
        "Das Plug-in konnte nicht gestartet werden. Die unmittelbar davor gemeldete Nachricht nennt die Ursache.");
    EXPECT_EQ(received()[0].severity, 2);
}

TEST_F(ErrorHandler, WithoutALanguageBothTextsAreTheDefault) {
    CFiErrorHandler handler(&init_, "", catalogs_);
    handler.handleMessage(failed_);
    ASSERT_EQ(received().size(), 1U);
    EXPECT_EQ(received()[0].localText, received()[0].defaultText);
}

TEST_F(ErrorHandler, WithoutCataloguesTheTextIsTheId) {
    CFiErrorHandler handler(&init_, "de", {});
    handler.handleMessage(failed_);
    ASSERT_EQ(received().size(), 1U);
    EXPECT_EQ(received()[0].localText, "MSG_ERROR_INITIALIZATION_FAILED");
}

TEST_F(ErrorHandler, ForwardsAPlainTextWithAnEmptyDefaultText) {
    CFiErrorHandler handler(&init_, "de", catalogs_);
    EXPECT_EQ(handler.handleMessage("plain", ZFI_SEVERITY_WARNING), 0);
    ASSERT_EQ(received().size(), 1U);
    EXPECT_EQ(received()[0].init, &init_);
    EXPECT_EQ(received()[0].defaultText, "");
    EXPECT_EQ(received()[0].localText, "plain");
    EXPECT_EQ(received()[0].severity, 1);
}

TEST_F(ErrorHandler, WithoutRecordOrCallbackNothingHappens) {
    zfi_init withoutCallback{};
    for (zfi_init* init : {static_cast<zfi_init*>(nullptr), &withoutCallback}) {
        CFiErrorHandler handler(init, "de", catalogs_);
        EXPECT_EQ(handler.handleMessage(failed_), 0);
        EXPECT_EQ(handler.handleMessage("plain", ZFI_SEVERITY_ERROR), 0);
    }
    EXPECT_TRUE(received().empty());
}

}  // namespace
