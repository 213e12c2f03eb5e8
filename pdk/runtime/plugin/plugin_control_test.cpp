#include <gtest/gtest.h>

#include "cfipluginbase.h"

namespace {

class PluginControl : public testing::Test {
  protected:
    ~PluginControl() override { znfi_trace_set_level(before_); }
    int control(const char* command) { return plugin_.objctl(command, arguments_); }

    CFiPluginBase plugin_;
    CFiObjctlArgs arguments_;
    const int before_ = znfi_trace_level();
};

TEST_F(PluginControl, TraceLevelReportsTheThreshold) {
    znfi_trace_set_level(5);
    EXPECT_EQ(control("trace_level"), ZFI_OK);
    EXPECT_STREQ(arguments_.exportArgs().c_str(),
                 "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=level value=5 type=int /> </OBJCTL_ARG_LIST> ");
    EXPECT_EQ(znfi_trace_level(), 5);
}

TEST_F(PluginControl, TraceLevelSetsTheThreshold) {
    arguments_.importArgs("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=level value=6 type=int /> </OBJCTL_ARG_LIST>");
    EXPECT_EQ(control("trace_level"), ZFI_OK);
    EXPECT_EQ(znfi_trace_level(), 6);
    ASSERT_EQ(arguments_.output.size(), 1U);
    EXPECT_STREQ(arguments_.output[0].value.c_str(), "6");
}

TEST_F(PluginControl, WhatIsNotALevelChangesNothing) {
    for (const char* value : {"", "8", "-1", "x", "3x", "99999999999"}) {
        znfi_trace_set_level(4);
        arguments_.input = {{"level", value, "int"}};
        EXPECT_EQ(control("trace_level"), ZFI_ERR_INVALID_ARGUMENT) << value;
        EXPECT_EQ(znfi_trace_level(), 4);
        EXPECT_TRUE(arguments_.output.empty());
    }
}

TEST_F(PluginControl, AnyOtherCommandIsNotSupported) {
    for (const char* command : {"", "trace", "trace_levels", "TRACE_LEVEL"}) {
        EXPECT_EQ(control(command), ZFI_ERR_NOT_SUPPORTED) << command;
    }
    EXPECT_TRUE(arguments_.output.empty());
}

}  // namespace
