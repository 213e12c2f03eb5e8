#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <regex>
#include <set>

#include "cfimessagecatalog.h"

namespace {

// The statuses as the header lists them, so that a new one without a text is noticed.
std::set<int> statusesOfTheHeader() {
    std::ifstream header(ZNFI_TYPES_HEADER);
    const std::regex status(R"(^\s+ZFI_(OK|CLAIMED|USE_SESSION|ERR_\w+) = (\d+))");
    std::set<int> codes;
    std::smatch match;
    for (std::string line; std::getline(header, line);) {
        if (std::regex_search(line, match, status)) {
            codes.insert(std::stoi(match[2]));
        }
    }
    return codes;
}

TEST(StatusText, EveryStatusHasItsOwnTextInBothLanguages) {
    const std::set<int> codes = statusesOfTheHeader();
    EXPECT_GE(codes.size(), 18U);
    std::set<std::string> texts;
    for (const int code : codes) {
        const std::string english = znfi_status_text(code, "");
        const std::string german = znfi_status_text(code, "de");
        EXPECT_NE(english, "Status " + std::to_string(code) + " is unknown.");
        EXPECT_NE(german, "Der Status " + std::to_string(code) + " ist unbekannt.");
        texts.insert(english);
        texts.insert(german);
    }
    EXPECT_EQ(texts.size(), 2 * codes.size());
}

TEST(StatusText, SaysWhatHappened) {
    EXPECT_STREQ(znfi_status_text(ZFI_ERR_UMOUNT_FAILED, ""), "A file system could not be unmounted.");
    EXPECT_STREQ(znfi_status_text(ZFI_ERR_UMOUNT_FAILED, "de_DE"), "Ein Dateisystem konnte nicht ausgehängt werden.");
}

TEST(StatusText, AnUnknownStatusIsNamed) {
    EXPECT_STREQ(znfi_status_text(4711, ""), "Status 4711 is unknown.");
    EXPECT_STREQ(znfi_status_text(INT_MIN, "de"), "Der Status -2147483648 ist unbekannt.");
}

TEST(StatusText, IsStaticStorage) {
    const char* first = znfi_status_text(6, "de");
    EXPECT_EQ(znfi_status_text(6, "de_AT"), first);
    EXPECT_EQ(znfi_status_text(6, nullptr), znfi_status_text(6, ""));
}

TEST(StatusText, AnyNumberMayBeAskedFor) {
    for (int code = 100'000; code < 106'000; ++code) {
        ASSERT_STRNE(znfi_status_text(code, ""), "");
    }
    EXPECT_STREQ(znfi_status_text(6, "de"),
                 "Die Operation schlug fehl. Die letzten Fehlermeldungen und das Protokoll nennen die Ursache.");
}

}  // namespace
