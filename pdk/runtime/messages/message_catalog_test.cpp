#include <gtest/gtest.h>
#include <unicode/putil.h>
#include <unicode/uloc.h>

#include <thread>

#include "cfimessagecatalog.h"

namespace {

using icu::Formattable;

CFiIcuMessage message(const char* id, const std::vector<Formattable>& arguments) {
    return CFiIcuMessage(id, arguments.data(), static_cast<int>(arguments.size()), 3, "file", 1);
}

CFiIcuMessage execPipe() {
    return message("MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
                   {Formattable("ZFI_EXEC_PIPE_CMD_FAILED"), Formattable("/bin/mount  \"/dev/x\""),
                    Formattable("providers/tarn/tarn_plugin"), Formattable(int32_t{12345})});
}

class MessageCatalog : public testing::Test {
  protected:
    MessageCatalog() { catalogs_.registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", "tarnfi")); }
    std::string text(const CFiMessage& of, const std::string& locale) {
        return catalogs_.getLocalizedMessage(of, locale);
    }
    CFiMessageCatalogManager catalogs_;
};

TEST_F(MessageCatalog, PutsTheArgumentsIntoTheTextWithPlainNumbers) {
    EXPECT_EQ(text(execPipe(), ""),
              "The command \"/bin/mount  \"/dev/x\"\" did not succeed: ZFI_EXEC_PIPE_CMD_FAILED. The level 1 lines of "
              "the trace log hold its output. [providers/tarn/tarn_plugin:12345]");
    EXPECT_EQ(text(execPipe(), "de"),
              "Der Befehl „/bin/mount  \"/dev/x\"“ war nicht erfolgreich: ZFI_EXEC_PIPE_CMD_FAILED. Seine Ausgabe "
              "steht in den Zeilen der Stufe 1 des Protokolls. [providers/tarn/tarn_plugin:12345]");
}

TEST_F(MessageCatalog, EveryMessageHasATextInBothLanguagesThatUsesAllItsArguments) {
    const std::pair<const char*, int> all[] = {
        {"MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION", 4}, {"MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", 4},
        {"MSG_ERROR_UDID_PARSING_EXCEPTION", 2},        {"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", 4},
        {"MSG_ERROR_UNHANDLED_INT_EXCEPTION", 3},       {"MSG_ERROR_INITIALIZATION_FAILED", 0}};
    for (const auto& [id, count] : all) {
        std::vector<Formattable> arguments;
        for (int i = 0; i < count; ++i) {
            arguments.emplace_back(icu::UnicodeString(("argument-" + std::to_string(i)).c_str()));
        }
        const std::string english = text(message(id, arguments), "");
        const std::string german = text(message(id, arguments), "de");
        EXPECT_NE(english, german) << id;
        for (const std::string& found : {english, german}) {
            EXPECT_EQ(found.find(id), std::string::npos) << found;
            EXPECT_EQ(found.find('{'), std::string::npos) << found;
            for (int i = 0; i < count; ++i) {
                EXPECT_NE(found.find("argument-" + std::to_string(i)), std::string::npos) << found;
            }
        }
    }
}

TEST_F(MessageCatalog, AMissingMessageIsItsIdAndArguments) {
    EXPECT_EQ(text(message("MSG_ERROR_FI_0003", {Formattable("/dev/x"), Formattable(int32_t{-7})}), "de"),
              "MSG_ERROR_FI_0003 (/dev/x, -7)");
    EXPECT_EQ(text(message("MSG_NONE", {}), ""), "MSG_NONE");
    EXPECT_EQ(text(message("", {}), ""), "?");
}

TEST_F(MessageCatalog, ArgumentsOfEveryKindBecomeText) {
    const Formattable list[] = {Formattable("a"), Formattable(int32_t{2})};
    EXPECT_EQ(text(message("X", {Formattable(int64_t{1} << 40), Formattable(0.5), Formattable(list, 2),
                                 Formattable(icu::UnicodeString(u"Gerät"))}),
                   ""),
              "X (1099511627776, 0.5, a, 2, Gerät)");
}

TEST_F(MessageCatalog, BracesInArgumentsAreNotPatterns) {
    const CFiIcuMessage odd = message("MSG_ERROR_UDID_PARSING_EXCEPTION", {Formattable("{1} '{'"), Formattable("x")});
    EXPECT_EQ(text(odd, ""), "The unique id of a disk could not be read: {1} '{' (code x)");
}

TEST_F(MessageCatalog, ALocaleIsServedByTheNearestLanguage) {
    const std::string german = text(execPipe(), "de");
    for (const char* locale : {"de_DE", "de-AT", "DE", "de_DE.UTF-8", "de@euro", "de_CH_1996"}) {
        EXPECT_EQ(text(execPipe(), locale), german) << locale;
    }
}

TEST_F(MessageCatalog, OtherLanguagesAndMalformedLocalesGiveTheDefault) {
    const std::string english = text(execPipe(), "");
    for (const std::string& locale :
         {std::string("fr"), std::string("deu"), std::string("de/../../x"), std::string("../de"), std::string("_de"),
          std::string("\xff\xfe"), std::string("de x"), std::string("de\0x", 4), std::string(10'000, 'd'),
          std::string("root"), std::string("C")}) {
        EXPECT_EQ(text(execPipe(), locale), english) << locale.substr(0, 40);
    }
}

TEST_F(MessageCatalog, TheProcessLocaleDoesNotDecide) {
    const std::string english = text(execPipe(), "");
    const std::string before = uloc_getDefault();
    UErrorCode status = U_ZERO_ERROR;
    uloc_setDefault("de_DE", &status);
    EXPECT_EQ(text(execPipe(), "fr"), english);
    EXPECT_EQ(text(execPipe(), ""), english);
    uloc_setDefault(before.c_str(), &status);
}

TEST_F(MessageCatalog, TheProcessDataDirectoryIsLeftAlone) {
    const std::string before = u_getDataDirectory();
    text(execPipe(), "de");
    EXPECT_EQ(u_getDataDirectory(), before);
}

TEST_F(MessageCatalog, TheDefaultLocaleIsTheFactorys) {
    catalogs_.registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("de", "tarnfi"));
    EXPECT_EQ(text(message("MSG_ERROR_INITIALIZATION_FAILED", {}), "").substr(0, 3), "Das");
}

TEST_F(MessageCatalog, AnyNumberOfLocalesMayBeAskedFor) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_FALSE(text(execPipe(), "x" + std::to_string(i)).empty());
    }
}

TEST_F(MessageCatalog, ThreadsMayAskAtTheSameTime) {
    const std::string english = text(execPipe(), "");
    const std::string german = text(execPipe(), "de");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                ASSERT_EQ(text(execPipe(), "en"), english);
                ASSERT_EQ(text(execPipe(), "de_DE"), german);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(MessageCatalogs, WithoutAFactoryAMessageIsItsIdAndArguments) {
    CFiMessageCatalogManager catalogs;
    EXPECT_EQ(catalogs.getLocalizedMessage(message("MSG_X", {Formattable("a")}), "de"), "MSG_X (a)");
}

TEST(MessageCatalogs, TheNativeLanguageIsKept) {
    CFiMessageCatalogManager catalogs;
    EXPECT_EQ(catalogs.getNativeLanguage(), "");
    catalogs.setNativeLanguage("de");
    EXPECT_EQ(catalogs.getNativeLanguage(), "de");
}

TEST(Message, KeepsCopiesOfItsArguments) {
    std::vector<Formattable> arguments{Formattable("first"), Formattable(int32_t{2})};
    const CFiIcuMessage kept = message("ID", arguments);
    arguments[1].setLong(9);
    ASSERT_EQ(kept.getArguments().size(), 2U);
    EXPECT_EQ(kept.getArguments()[1].getLong(), 2);
    EXPECT_EQ(kept.getMessageId(), "ID");
    EXPECT_EQ(kept.getSeverity(), 3);
    EXPECT_EQ(kept.getFileName(), "file");
    EXPECT_EQ(kept.getLineNumber(), 1);
}

TEST(Message, NoArgumentsMayBeANullPointer) {
    EXPECT_TRUE(CFiIcuMessage("ID", nullptr, 0, 3, "f", 1).getArguments().empty());
    EXPECT_TRUE(CFiIcuMessage("ID", nullptr, 4, 3, "f", 1).getArguments().empty());
}

}  // namespace
