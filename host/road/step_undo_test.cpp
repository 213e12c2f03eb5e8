#include "host/road/step_undo.h"

#include <gtest/gtest.h>

namespace tarnctl {
namespace {

StepRecord recorded(StepIntent intent) {
    StepRecord step;
    step.key = {"1k9x4m2ph-7q3d", 1};
    step.intent = std::move(intent);
    return step;
}

TEST(StepUndo, NamesComeBackByteForByte) {
    const std::string odd = "/mnt/\xff\xfe#\xc3\xa4";
    const auto undo = mountUndoOf(
        recorded(intentOf(step::kMount, MountUndo{"tarnfi", odd, odd + "_alt", "/dev/loop7", std::nullopt})));
    ASSERT_TRUE(undo);
    EXPECT_EQ(undo->origin, odd);
    EXPECT_EQ(undo->alternate, odd + "_alt");
    EXPECT_FALSE(undo->directory);
}

TEST(StepUndo, TheDirectoryThatWasThereComesBack) {
    const auto undo = mountUndoOf(
        recorded(intentOf(step::kMount, MountUndo{"tarnfi", "/a", "/a_alt", "/dev/loop7", KeptDirectory{0750, 3, 4}})));
    ASSERT_TRUE(undo);
    ASSERT_TRUE(undo->directory);
    EXPECT_EQ(undo->directory->mode, 0750u);
    EXPECT_EQ(undo->directory->uid, 3u);
    EXPECT_EQ(undo->directory->gid, 4u);
}

TEST(StepUndo, ADeviceNumberKeepsAllItsBits) {
    const auto undo = freezeUndoOf(recorded(intentOf(step::kFreeze, FreezeUndo{"/a", "xfs", 0xfedcba9876543210u})));
    ASSERT_TRUE(undo);
    EXPECT_EQ(undo->fsDevice, 0xfedcba9876543210u);
}

TEST(StepUndo, ATextThatIsNoUndoDataIsAFailureThatNamesTheStep) {
    for (const char* text : {"", "{}", "[1]", R"({"provider":1,"device":"/dev/loop0"})"}) {
        const auto undo = volumeUndoOf(recorded({step::kMake, text}));
        ASSERT_FALSE(undo) << text;
        EXPECT_NE(undo.failure().cause.find("make"), std::string::npos);
    }
}

}  // namespace
}  // namespace tarnctl
