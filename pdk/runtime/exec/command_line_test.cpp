#include "command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using znfi_runtime::parseCommandLine;
using Arguments = std::vector<std::string>;
using namespace std::string_view_literals;

TEST(CommandLine, BlanksSeparateHoweverManyThereAre) {
    EXPECT_EQ(parseCommandLine("/bin/mount  -t xfs   /dev/sda"), (Arguments{"/bin/mount", "-t", "xfs", "/dev/sda"}));
    EXPECT_EQ(parseCommandLine("  /bin/true  "), (Arguments{"/bin/true"}));
}

TEST(CommandLine, QuotesGroup) {
    EXPECT_EQ(parseCommandLine("/bin/umount \"/mnt/a b\""), (Arguments{"/bin/umount", "/mnt/a b"}));
}

TEST(CommandLine, QuotesInsideAWordJoinWithIt) {
    EXPECT_EQ(parseCommandLine("a\"b c\"d e"), (Arguments{"ab cd", "e"}));
    EXPECT_EQ(parseCommandLine("\"a\"\"b\""), (Arguments{"ab"}));
}

TEST(CommandLine, EmptyQuotesAreAnEmptyArgument) {
    EXPECT_EQ(parseCommandLine("a \"\" b"), (Arguments{"a", "", "b"}));
    EXPECT_EQ(parseCommandLine("\"\""), (Arguments{""}));
    EXPECT_EQ(parseCommandLine("a\"\""), (Arguments{"a"}));
}

TEST(CommandLine, NothingButTheBlankSeparates) {
    EXPECT_EQ(parseCommandLine("a\tb\nc\rd\ve"), (Arguments{"a\tb\nc\rd\ve"}));
}

TEST(CommandLine, NoOtherCharacterIsSpecial) {
    EXPECT_EQ(parseCommandLine("a\\ b 'c d' $HOME `x` * ; | > ~ \\\"e\\\""),
              (Arguments{"a\\", "b", "'c", "d'", "$HOME", "`x`", "*", ";", "|", ">", "~", "\\e\\"}));
    EXPECT_EQ(parseCommandLine("\xc3\xa4 \xff"), (Arguments{"\xc3\xa4", "\xff"}));
}

TEST(CommandLine, UnbalancedQuoteIsRefused) {
    for (const char* line : {"\"", "a \"b", "a b\"", "a \"b\" \"", "\"\"\""}) {
        EXPECT_EQ(parseCommandLine(line), std::nullopt) << line;
    }
}

TEST(CommandLine, LineWithoutArgumentsIsRefused) {
    EXPECT_EQ(parseCommandLine(""), std::nullopt);
    EXPECT_EQ(parseCommandLine("    "), std::nullopt);
}

TEST(CommandLine, NulByteIsRefusedInsteadOfCuttingTheArgument) {
    EXPECT_EQ(parseCommandLine("/bin/rmdir /mnt\0/a"sv), std::nullopt);
    EXPECT_EQ(parseCommandLine("a \"\0\""sv), std::nullopt);
}
