#include <gtest/gtest.h>

#include <array>
#include <string>

#include "cfiobjctlargs.h"

namespace {

using Entry = std::array<std::string, 3>;

std::vector<Entry> imported(const char* text) {
    CFiObjctlArgs arguments;
    EXPECT_EQ(arguments.importArgs(text), 0);
    std::vector<Entry> entries;
    for (const CFiObjctlArg& argument : arguments.input) {
        entries.push_back({argument.arg.c_str(), argument.value.c_str(), argument.type.c_str()});
    }
    EXPECT_TRUE(arguments.output.empty());
    return entries;
}

const Entry kFirst{"a", "b", "c"};
const Entry kSecond{"d", "e", "f"};

TEST(ObjctlArgs, NullOrEmptyImportsNothing) {
    EXPECT_TRUE(imported(nullptr).empty());
    EXPECT_TRUE(imported("").empty());
    EXPECT_TRUE(imported("   ").empty());
}

TEST(ObjctlArgs, ATextThatDoesNotStartWithTheListImportsNothing) {
    EXPECT_TRUE(imported("<OBJCTL_INPUT arg=a value=b type=c />").empty());
    EXPECT_TRUE(imported("<objctl_arg_list> <OBJCTL_INPUT arg=a value=b type=c />").empty());
    EXPECT_TRUE(imported("<OBJCTL_ARG_LIST><OBJCTL_INPUT arg=a value=b type=c />").empty());
}

TEST(ObjctlArgs, TwoElementsImportTwoEntriesInOrder) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT arg=d value=e type=f /> "
                       "</OBJCTL_ARG_LIST>"),
              (std::vector<Entry>{kFirst, kSecond}));
}

TEST(ObjctlArgs, AttributesOutOfOrderStopAtThatElement) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT value=e arg=d type=f /> "
                       "</OBJCTL_ARG_LIST>"),
              (std::vector<Entry>{kFirst}));
}

TEST(ObjctlArgs, AnElementThatIsNotClosedKeepsItsEntryAndEndsTheParse) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c <OBJCTL_INPUT arg=d value=e type=f /> "
                       "</OBJCTL_ARG_LIST>"),
              (std::vector<Entry>{kFirst}));
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c"), (std::vector<Entry>{kFirst}));
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c/> x"),
              (std::vector<Entry>{{"a", "b", "c/>"}}));
}

TEST(ObjctlArgs, TheListMayEndWithoutItsTag) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> "), (std::vector<Entry>{kFirst}));
    EXPECT_TRUE(imported("<OBJCTL_ARG_LIST>").empty());
    EXPECT_TRUE(imported("<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST>").empty());
}

TEST(ObjctlArgs, AnythingMayStandForTheStartOfAnElement) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> whatever arg=a value=b type=c />"), (std::vector<Entry>{kFirst}));
}

TEST(ObjctlArgs, ATextThatEndsInsideAnElementDropsIt) {
    for (const char* element : {"<OBJCTL_INPUT", "<OBJCTL_INPUT arg", "<OBJCTL_INPUT arg=", "<OBJCTL_INPUT arg=a",
                                "<OBJCTL_INPUT arg=a value=", "<OBJCTL_INPUT arg=a value=b type="}) {
        const std::string text = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=d value=e type=f /> " + std::string(element);
        EXPECT_EQ(imported(text.c_str()), (std::vector<Entry>{kSecond})) << element;
    }
}

TEST(ObjctlArgs, RepeatedDelimitersAreSkippedWhereTheNextTokenBegins) {
    EXPECT_EQ(imported("  <OBJCTL_ARG_LIST>   <OBJCTL_INPUT arg=  a value==b type=c   />  </OBJCTL_ARG_LIST>"),
              (std::vector<Entry>{{"a", "=b", "c"}}));
    EXPECT_TRUE(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT  arg=a value=b type=c />").empty());
}

TEST(ObjctlArgs, AnEmptyValueTakesTheNextToken) {
    EXPECT_TRUE(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg= value=b type=c />").empty());
}

TEST(ObjctlArgs, ValuesMayHoldEqualSigns) {
    EXPECT_EQ(imported("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=x=y type=c />"),
              (std::vector<Entry>{{"a", "x=y", "c"}}));
}

TEST(ObjctlArgs, ImportingTwiceAppends) {
    CFiObjctlArgs arguments;
    arguments.importArgs("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />");
    arguments.importArgs("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />");
    EXPECT_EQ(arguments.input.size(), 2U);
}

TEST(ObjctlArgs, TheCallersTextIsNotChanged) {
    char text[] = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>";
    const std::string before = text;
    imported(text);
    EXPECT_EQ(text, before);
}

TEST(ObjctlArgs, AnEmptyOutputListExportsTheTagsOnly) {
    EXPECT_STREQ(CFiObjctlArgs().exportArgs().c_str(), "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
}

TEST(ObjctlArgs, ExportsTheOutputListInOrderAndNotTheInput) {
    CFiObjctlArgs arguments;
    arguments.input.push_back({"in", "x", "t"});
    arguments.output.push_back({"a", "b", "c"});
    arguments.output.push_back({"d", "", "f"});
    EXPECT_STREQ(arguments.exportArgs().c_str(),
                 "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=a value=b type=c /> <OBJCTL_OUTPUT arg=d value= type=f /> "
                 "</OBJCTL_ARG_LIST> ");
}

}  // namespace
