#include <gtest/gtest.h>

#include "cfipluginbase.h"

namespace {

class PluginDefaults : public testing::Test {
  protected:
    CFiPluginBase plugin_;
    zfi_domain node_{};
    const CFiSmartPtr<CFiSession> session_ = makeCounted<CFiSession>("s");
};

TEST_F(PluginDefaults, PerNodeFormsSendTheFrameworkToTheSession) {
    znfi_objid** ids = reinterpret_cast<znfi_objid**>(this);
    int count = 9;
    EXPECT_EQ(plugin_.select(nullptr, nullptr, 0), ZFI_USE_SESSION);
    EXPECT_EQ(plugin_.prepare(nullptr, nullptr, 0, 0), ZFI_USE_SESSION);
    EXPECT_EQ(plugin_.make(nullptr, nullptr, 0, &ids, &count), ZFI_USE_SESSION);
    EXPECT_EQ(static_cast<void*>(ids), static_cast<void*>(this)) << "the session form may still fail";
    EXPECT_EQ(count, 9);
}

TEST_F(PluginDefaults, SessionFormsAndNotificationsSucceed) {
    EXPECT_EQ(plugin_.delayedInit(), 0);
    EXPECT_EQ(plugin_.init(), 0);
    EXPECT_EQ(plugin_.selectSnapshots(session_), 0);
    EXPECT_EQ(plugin_.prepareSnapshots(session_), 0);
    EXPECT_EQ(plugin_.makeSnapshots(session_), 0);
    EXPECT_EQ(plugin_.preselect(nullptr, nullptr, 0), 0);
    EXPECT_EQ(plugin_.isReady(nullptr, nullptr, 0), 0);
    EXPECT_EQ(plugin_.config(&node_, 0, nullptr, nullptr), 0);
    EXPECT_EQ(plugin_.prePrepare(&node_), 0);
    EXPECT_EQ(plugin_.verifyQSCombos(nullptr, 0), 0);
    EXPECT_EQ(plugin_.revisitPluginNodes(nullptr), 0);
    EXPECT_EQ(plugin_.startBuildAltTree(&node_, nullptr, nullptr), 0);
    EXPECT_EQ(plugin_.preDeportResource(nullptr, 0, nullptr), 0);
    EXPECT_EQ(plugin_.postDeport(&node_, nullptr), 0);
    EXPECT_EQ(plugin_.updateSnapshotId(&node_, nullptr, nullptr, 0), 0);
    EXPECT_EQ(plugin_.setOpStatus(&node_, 0), 0);
    EXPECT_EQ(plugin_.setCompStatus(&node_, 0, nullptr, 0), 0);
}

TEST_F(PluginDefaults, WhatWouldClaimToHaveDoneWorkIsNotSupported) {
    EXPECT_EQ(plugin_.initNode(&node_, nullptr, 0, nullptr), 2);
    EXPECT_EQ(plugin_.initAltNode(&node_, nullptr, nullptr, false), 2);
    EXPECT_EQ(plugin_.reAccessTmpObj(&node_, nullptr, nullptr, nullptr, nullptr, ZFI_INTENT_NONE), 2);
    EXPECT_EQ(plugin_.reAccessAltNode(&node_, nullptr, nullptr, nullptr, nullptr, nullptr, 0, ZFI_INTENT_NONE), 2);
    EXPECT_EQ(plugin_.deportTree(&node_, nullptr, nullptr), 2);
    EXPECT_EQ(plugin_.dispose(&node_, nullptr, nullptr, ZFI_DISPOSITION_KEEP), 2);
    EXPECT_EQ(plugin_.online(&node_, nullptr, 0, ZFI_DISPOSITION_KEEP), 2);
    EXPECT_EQ(plugin_.quiesce(nullptr, 0, nullptr), 2);
    EXPECT_EQ(plugin_.unquiesce(nullptr, 0), 2);
    EXPECT_EQ(plugin_.cacheDisable(&node_, 0), 2);
    EXPECT_EQ(plugin_.cacheEnable(&node_, 0), 2);
    EXPECT_EQ(plugin_.cacheFlush(&node_, 0), 2);
    EXPECT_EQ(plugin_.enableAccess(nullptr, 0, 0, 0), 2);
    EXPECT_EQ(plugin_.disableAccess(nullptr, 0), 2);
    EXPECT_EQ(plugin_.setImportOptions(nullptr, 0, nullptr, 0, nullptr), 2);
    EXPECT_EQ(plugin_.createSnapReplicaNode(&node_, nullptr), 2);
    EXPECT_EQ(plugin_.importResource(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr), 2);
    EXPECT_EQ(plugin_.deportResource(nullptr, nullptr, nullptr, nullptr, 0), 2);
    EXPECT_EQ(plugin_.unformat(nullptr, 0, 0), 2);
    EXPECT_EQ(plugin_.refreshTree(&node_, 0, 0, nullptr, 0, nullptr, nullptr, 0), 2);
    EXPECT_EQ(plugin_.resync(nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr), 2);
    EXPECT_EQ(plugin_.setRestorepaths(&node_, nullptr, 0), 2);
}

TEST_F(PluginDefaults, WhatWouldClaimToKnowIsNotSupported) {
    int exists = 5;
    long status = 5;
    EXPECT_EQ(plugin_.checkNodeExistence(&node_, &exists), 2);
    EXPECT_EQ(exists, 5);
    EXPECT_EQ(plugin_.getAttr(&node_, nullptr, nullptr, nullptr), 2);
    EXPECT_EQ(plugin_.processProviderState(&node_, nullptr, ZFI_STATE_SAVE), 2);
    EXPECT_EQ(plugin_.getStatus(nullptr, nullptr, 0, nullptr, 0, &status), 2);
    EXPECT_EQ(status, 5);
    EXPECT_EQ(plugin_.getSnapdiff(&node_, nullptr, nullptr, nullptr), 2);
    EXPECT_EQ(plugin_.getBackupset(&node_, 0, nullptr, 0, nullptr), 2);
    EXPECT_EQ(plugin_.getAppStatus(&node_, 0, nullptr), 2);
}

template <typename T>
T* stale() {
    return reinterpret_cast<T*>(0x10);
}

TEST_F(PluginDefaults, AListThatIsNotMadeIsSetToNull) {
    int count = 9;
    long longCount = 9;
    auto* object = stale<znfi_objid>();
    auto* objects = stale<znfi_objid*>();
    auto* texts = stale<char*>();
    auto* text = stale<char>();
    auto* providers = stale<zfi_provider_list>();
    auto* messages = stale<zfi_msg_info>();

    EXPECT_EQ(plugin_.buildAltTree(&node_, nullptr, nullptr, nullptr, 0, &object), 2);
    EXPECT_EQ(object, nullptr);
    object = stale<znfi_objid>();
    EXPECT_EQ(plugin_.importTreeNode(&node_, nullptr, nullptr, 0, &object), 2);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(plugin_.queryValidSecondaries(nullptr, &objects, &longCount), 2);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(longCount, 0);
    EXPECT_EQ(plugin_.format(nullptr, 0, nullptr, nullptr, nullptr, 0, &texts, &count), 2);
    EXPECT_EQ(texts, nullptr);
    EXPECT_EQ(count, 0);
    texts = stale<char*>();
    EXPECT_EQ(plugin_.onlineResource(nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, &texts, nullptr), 2);
    EXPECT_EQ(texts, nullptr);
    texts = stale<char*>();
    EXPECT_EQ(plugin_.restore(nullptr, nullptr, 0, nullptr, nullptr, &texts, nullptr, 0, nullptr), 2);
    EXPECT_EQ(texts, nullptr);
    EXPECT_EQ(plugin_.getSnapshotSetId(&node_, &text), 2);
    EXPECT_EQ(text, nullptr);
    text = stale<char>();
    EXPECT_EQ(plugin_.translateResourceNames(nullptr, 0, &text), 2);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(plugin_.getProviderInfo(&providers), 2);
    EXPECT_EQ(providers, nullptr);
    EXPECT_EQ(plugin_.resourceStatus(nullptr, 0, nullptr, &messages), 2);
    EXPECT_EQ(messages, nullptr);
}

template <typename List, typename Call>
void expectEmpty(Call call) {
    auto* list = stale<List>();
    EXPECT_EQ(call(&list), ZFI_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(call(static_cast<List**>(nullptr)), ZFI_ERR_INVALID_ARGUMENT);
}

TEST_F(PluginDefaults, EnumerationsSucceedWithAnEmptyList) {
    int count = 9;
    expectEmpty<zfi_node_list>([&](auto list) { return plugin_.enumerateNodes(list, &count, 0, nullptr); });
    EXPECT_EQ(count, 0);
    expectEmpty<zfi_assoc_list>([&](auto list) { return plugin_.enumerateAssociations(list); });
    expectEmpty<zfi_group_node_list>([&](auto list) { return plugin_.enumerateGroupNodes(list); });
    expectEmpty<zfi_fim_list>([&](auto list) { return plugin_.enumerateFims(list); });
    expectEmpty<zfi_node_list>([&](auto list) { return plugin_.getAssociatedNodes(stale<zfi_node>(), list); });
    count = 9;
    expectEmpty<zfi_host_node_list>([&](auto list) { return plugin_.enumerateHostNodes(list, &count, nullptr); });
    EXPECT_EQ(count, 0);
    count = 9;
    expectEmpty<zfi_enclosure_node_list>([&](auto list) { return plugin_.enumerateEnclosures(list, &count, nullptr); });
    EXPECT_EQ(count, 0);

    auto* nodes = stale<zfi_node_list>();
    EXPECT_EQ(plugin_.enumerateNodes(&nodes, nullptr, 0, nullptr), ZFI_ERR_INVALID_ARGUMENT);
}

TEST_F(PluginDefaults, QuestionsAreAnsweredWithNo) {
    int answer = 9;
    EXPECT_EQ(plugin_.isParentPgn(nullptr, &answer, 0), 0);
    EXPECT_EQ(answer, 0);
    answer = 9;
    EXPECT_EQ(plugin_.isValidNodeAssociation(nullptr, &answer), 0);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(plugin_.isParentPgn(nullptr, nullptr, 0), ZFI_ERR_INVALID_ARGUMENT);
    answer = 9;
    node_.fiTypeResult = &answer;
    EXPECT_EQ(plugin_.supportsFiType(&node_, nullptr), 0);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(plugin_.supportsFiType(nullptr, nullptr), 0);
}

TEST_F(PluginDefaults, NothingIsClaimedAndNothingInterposed) {
    auto* objects = stale<znfi_objid*>();
    int count = 9;
    EXPECT_EQ(plugin_.claim(nullptr, &objects, &count), ZFI_OK);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(count, 0);
    objects = stale<znfi_objid*>();
    count = 9;
    EXPECT_EQ(plugin_.interpose(&node_, nullptr, &objects, &count), ZFI_OK);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(count, 0);
}

TEST_F(PluginDefaults, ConfigurationListsAreFourAndHoldTheirStartValues) {
    EXPECT_NE(plugin_.globalConfigInfoList(0, false), plugin_.globalConfigInfoList(0, true));
    EXPECT_EQ(plugin_.globalConfigInfoList(1, true), plugin_.globalConfigInfoList(0, true) + 1);
    const CFiConfigParamInfoList* list = plugin_.globalConfigInfoList(1, false);
    EXPECT_EQ(list->kind, 6U);
    EXPECT_EQ(list->scope, 3U);
    EXPECT_FALSE(list->required);
    EXPECT_EQ(list->minimum, -1);
    EXPECT_EQ(list->maximum, -1);
    EXPECT_TRUE(list->name.empty());
    EXPECT_TRUE(list->parameters.empty());
}

TEST_F(PluginDefaults, ANewObjectIsNotWired) {
    EXPECT_EQ(plugin_.providerName().length(), 0U);
    EXPECT_EQ(plugin_.fimName(), "");
    EXPECT_EQ(plugin_.messageIndexOffset(), 6000);
    EXPECT_FALSE(plugin_.errorManager());
    EXPECT_FALSE(plugin_.catalogManager());
    EXPECT_FALSE(plugin_.privateDataManager());
    EXPECT_FALSE(plugin_.sessionManager());
    EXPECT_FALSE(plugin_.traceLog());
    EXPECT_FALSE(plugin_.delayedInitDone);
}

TEST_F(PluginDefaults, TheShutdownMarkIsReadable) {
    EXPECT_FALSE(CFiPluginBase::isShuttingDown());
    CFiPluginBase::isShuttingDown(true);
    EXPECT_TRUE(CFiPluginBase::isShuttingDown());
    EXPECT_EQ(plugin_.select(nullptr, nullptr, 0), ZFI_USE_SESSION);
    CFiPluginBase::isShuttingDown(false);
}

}  // namespace
