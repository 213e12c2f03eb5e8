#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>

#include "cfiformatoptionlist.h"
#include "trace/temporary_folder_testing.h"

namespace {

constexpr char kUntouched[] = "untouched";

// The value of an option after parsing, or kUntouched.
std::string valueIn(const std::string& text, const char* name) {
    CFiFormatOptionList options;
    options.parse(text.c_str());
    std::string value = kUntouched;
    const int status = options.getValue(name, value);
    EXPECT_EQ(status, value == kUntouched ? ZFI_ERR_INVALID_ARGUMENT : ZFI_OK);
    return value;
}

std::string document(const std::string& content) {
    return "<FORMAT_OPTIONS>" + content + "</FORMAT_OPTIONS>";
}

const std::string kMkfs = R"(<OPTION name="mkfsOptions">-b size=4096</OPTION>)";

TEST(FormatOptions, AreFoundByName) {
    const std::string text = document(kMkfs + R"(<OPTION name="mountOptions">noatime</OPTION>)");
    EXPECT_EQ(valueIn(text, "mkfsOptions"), "-b size=4096");
    EXPECT_EQ(valueIn(text, "mountOptions"), "noatime");
}

TEST(FormatOptions, AMissingOptionIs3AndLeavesTheValue) {
    EXPECT_EQ(valueIn(document(R"(<OPTION name="mountOptions">ro</OPTION>)"), "mkfsOptions"), kUntouched);
    EXPECT_EQ(valueIn(document(""), "mkfsOptions"), kUntouched);
    EXPECT_EQ(valueIn(document(kMkfs), nullptr), kUntouched);
}

TEST(FormatOptions, NamesAreCaseSensitive) {
    EXPECT_EQ(valueIn(document(kMkfs), "MKFSOPTIONS"), kUntouched);
}

TEST(FormatOptions, AnEmptyOptionIsAnEmptyValue) {
    EXPECT_EQ(valueIn(document(R"(<OPTION name="mkfsOptions"/>)"), "mkfsOptions"), "");
}

TEST(FormatOptions, ValuesAreTakenAsTheyStand) {
    EXPECT_EQ(valueIn(document(R"(<OPTION name="o">  a &lt;&amp;&quot;&#x41; <![CDATA[<b>]]> ü</OPTION>)"), "o"),
              "  a <&\"A <b> ü");
    EXPECT_EQ(valueIn("<?xml version=\"1.0\"?>\n<!-- c -->\n" + document("\n  " + kMkfs + "\n"), "mkfsOptions"),
              "-b size=4096");
}

TEST(FormatOptions, ALaterOptionOfOneNameWins) {
    EXPECT_EQ(valueIn(document(R"(<OPTION name="o">1</OPTION><OPTION name="o">2</OPTION>)"), "o"), "2");
}

TEST(FormatOptions, MalformedTextsYieldNoOptions) {
    for (const std::string& text :
         {std::string(), std::string("mkfsOptions=-b"), "<FORMAT_OPTIONS>" + kMkfs, document(kMkfs) + "x",
          document(kMkfs + "<OPTION>x</OPTION>"), document(kMkfs + "<OTHER/>"), document(kMkfs + "text"),
          "<OTHER>" + kMkfs + "</OTHER>", document("<A>" + kMkfs + "</A>"), document(kMkfs + "&undefined;"),
          document(kMkfs + "<OPTION name=\"x\">\xff</OPTION>"), document(kMkfs + "<OPTION name=\"x\">"),
          document(R"(<OPTION name="mkfsOptions"><OPTION name="x">y</OPTION></OPTION>)")}) {
        EXPECT_EQ(valueIn(text, "mkfsOptions"), kUntouched) << text;
    }
}

TEST(FormatOptions, NullYieldsNoOptionsAndANewTextReplacesTheOldOne) {
    CFiFormatOptionList options;
    std::string value;
    options.parse(nullptr);
    EXPECT_EQ(options.getValue("mkfsOptions", value), ZFI_ERR_INVALID_ARGUMENT);
    options.parse(document(kMkfs).c_str());
    EXPECT_EQ(options.getValue("mkfsOptions", value), ZFI_OK);
    options.parse("no document");
    EXPECT_EQ(options.getValue("mkfsOptions", value), ZFI_ERR_INVALID_ARGUMENT);
}

TEST(FormatOptions, ADocumentTypeIsRefused) {
    EXPECT_EQ(valueIn("<!DOCTYPE FORMAT_OPTIONS>" + document(kMkfs), "mkfsOptions"), kUntouched);
    EXPECT_EQ(valueIn(R"(<!DOCTYPE FORMAT_OPTIONS [<!ENTITY e "x">]>)" + document(kMkfs), "mkfsOptions"), kUntouched);
}

TEST(FormatOptions, AnExternalEntityIsNeverRead) {
    const znfi_testing::TemporaryFolder folder;
    const std::string secret = folder / "secret";
    std::ofstream(secret) << "secret";
    const int opened = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(opened, secret.c_str(), IN_OPEN), 0);
    for (const std::string& kind : {"SYSTEM \"file://" + secret + "\"", "PUBLIC \"p\" \"" + secret + "\""}) {
        EXPECT_EQ(valueIn("<!DOCTYPE FORMAT_OPTIONS [<!ENTITY e " + kind + ">]>" +
                              document(R"(<OPTION name="mkfsOptions">&e;</OPTION>)"),
                          "mkfsOptions"),
                  kUntouched);
        EXPECT_EQ(valueIn("<!DOCTYPE FORMAT_OPTIONS " + kind + ">" + document(kMkfs), "mkfsOptions"), kUntouched);
    }
    std::array<char, 256> event{};
    EXPECT_EQ(read(opened, event.data(), event.size()), -1);
    EXPECT_EQ(errno, EAGAIN);
    std::ifstream{secret};
    EXPECT_GT(read(opened, event.data(), event.size()), 0) << "an opening would not be seen here";
    close(opened);
}

TEST(FormatOptions, EntitiesThatMultiplyAreRefusedAtOnce) {
    std::string text = "<!DOCTYPE FORMAT_OPTIONS [<!ENTITY l0 \"lol\">";
    for (int i = 1; i <= 12; ++i) {
        text += "<!ENTITY l" + std::to_string(i) + " \"";
        for (int copy = 0; copy < 10; ++copy) {
            text += "&l" + std::to_string(i - 1) + ";";
        }
        text += "\">";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(valueIn(text + "]>" + document(R"(<OPTION name="mkfsOptions">&l12;</OPTION>)"), "mkfsOptions"),
              kUntouched);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
