#include <gtest/gtest.h>

#include "cfiprivatedata.h"

namespace {

znfi_objid* idOf(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::string(name).size() + 1), ZFI_OBJID_NAMED);
}

class PrivateData : public testing::Test {
  protected:
    CFiPrivateData data_{idOf("/data"), false};
};

TEST_F(PrivateData, StartsEmpty) {
    EXPECT_STREQ(data_.getObjName(), "/data");
    EXPECT_FALSE(data_.getIsAltNode());
    EXPECT_EQ(data_.getSubObjectListLength(), 0);
    EXPECT_EQ(data_.getSessionId(), "");
    EXPECT_EQ(data_.getSplitType(), "");
    EXPECT_EQ(data_.getConfiguredTarget(), "");
    EXPECT_TRUE(data_.getTargets().empty());
    EXPECT_FALSE(data_.getTransportable());
    EXPECT_TRUE(data_.getHostList().empty());
    EXPECT_EQ(data_.getIntent(), ZFI_INTENT_NONE);
    EXPECT_FALSE(data_.traceLog());
}

TEST_F(PrivateData, KeepsWhatItIsTold) {
    data_.setIntent(ZFI_INTENT_DESTROY);
    data_.setTransportable(true);
    data_.setIsAltNode(true);
    data_.addTarget("one");
    data_.addTarget("two");
    std::string target = "chosen";
    data_.setConfiguredTarget(target);
    EXPECT_EQ(data_.getIntent(), ZFI_INTENT_DESTROY);
    EXPECT_TRUE(data_.getTransportable());
    EXPECT_TRUE(data_.getIsAltNode());
    EXPECT_EQ(data_.getTargets(), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(data_.getConfiguredTarget(), "chosen");
}

TEST_F(PrivateData, ASetterCalledWithNullKeepsTheOldValue) {
    data_.setSplitType("mirror");
    data_.setSessionId("s1");
    data_.setSplitType(nullptr);
    data_.setSessionId(nullptr);
    EXPECT_EQ(data_.getSplitType(), "mirror");
    EXPECT_EQ(data_.getSessionId(), "s1");
    data_.setSplitType("");
    EXPECT_EQ(data_.getSplitType(), "");
}

TEST_F(PrivateData, SubObjectsAreListedInOrderAndNullAddsNothing) {
    data_.addSubObject(idOf("/dev/a"));
    data_.addSubObject(nullptr);
    data_.addSubObject(idOf("/dev/b"));
    EXPECT_EQ(data_.getSubObjectList(), (std::vector<znfi_objid*>{idOf("/dev/a"), idOf("/dev/b")}));
    EXPECT_EQ(data_.getSubObjectListLength(), 2);
}

TEST_F(PrivateData, ASecondHostListIsAppended) {
    std::string one = "one";
    std::string two = "two";
    zfi_host_infn last{two.data(), nullptr};
    zfi_host_infn nameless{nullptr, &last};
    zfi_host_infn first{one.data(), &nameless};
    data_.setHostList(&first);
    data_.setHostList(nullptr);
    data_.setHostList(&last);
    EXPECT_EQ(data_.getHostList(), (std::vector<zfi_tstring>{"one", "two", "two"}));
}

TEST_F(PrivateData, TheBaseHoldsNoStateToSave) {
    char old[] = "old";
    zfi_blob blob{4, old, ZFI_BLOB_TEXT, 0};
    EXPECT_EQ(data_.setNodeState(&blob), ZFI_OK);
    EXPECT_EQ(data_.getNodeState(&blob), ZFI_OK);
    EXPECT_EQ(blob.length, 0U);
    EXPECT_EQ(blob.data, nullptr);
    EXPECT_EQ(data_.setNodeState(nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(data_.getNodeState(nullptr), ZFI_ERR_INVALID_ARGUMENT);
}

TEST_F(PrivateData, DefaultParametersFillTheDataListOnce) {
    EXPECT_FALSE(data_.hasConfigDataList(1));
    CFiConfigParamInfoList parameters;
    parameters.parameters = {"size", "target"};
    data_.addDefaultConfigParamsToDataList(1, &parameters);
    ASSERT_TRUE(data_.hasConfigDataList(1));
    data_.configDataList(1)->values[1].second = "/dev/t";
    data_.addDefaultConfigParamsToDataList(1, &parameters);
    EXPECT_EQ(data_.configDataList(1)->values,
              (std::vector<std::pair<std::string, std::string>>{{"size", ""}, {"target", "/dev/t"}}));
    data_.selectTargetFromConfigData();
    EXPECT_EQ(data_.getConfiguredTarget(), "/dev/t");
}

TEST_F(PrivateData, ListsOutOfRangeAreNotSet) {
    CFiConfigParamInfoList parameters;
    for (const int index : {-1, 2}) {
        data_.addDefaultConfigParamsToDataList(index, &parameters);
        EXPECT_FALSE(data_.hasConfigDataList(index));
        EXPECT_FALSE(data_.hasConfigInfoList(index));
    }
    data_.addDefaultConfigParamsToDataList(0, nullptr);
    EXPECT_FALSE(data_.hasConfigDataList(0));
    EXPECT_FALSE(data_.hasConfigInfoList(0));
}

TEST_F(PrivateData, WithoutConfigurationTheTargetStays) {
    std::string target = "chosen";
    data_.setConfiguredTarget(target);
    data_.selectTargetFromConfigData();
    EXPECT_EQ(data_.getConfiguredTarget(), "chosen");
}

}  // namespace
