// The order of the virtual operations: a framework and a plug-in of different builds call each other by slot.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <vector>

#include "tarn_plugin.h"
#include "tarn_priv_data.h"

namespace {

// As the platform's ABI keeps it in a pointer to the member.
template <typename Member>
std::ptrdiff_t slot(Member member) {
    const auto parts = std::bit_cast<std::array<std::ptrdiff_t, 2>>(member);
    return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

constexpr std::ptrdiff_t kAfterDestructors = 2;

void expectConsecutive(const std::vector<std::ptrdiff_t>& slots) {
    for (size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], static_cast<std::ptrdiff_t>(i) + kAfterDestructors) << "operation " << i << " of the list";
    }
}

TEST(Slots, of_the_plug_in) {
    using P = CTARNPlugin;
    expectConsecutive({slot(&P::delayedInit),
                       slot(&P::globalConfigInfoList),
                       slot(&P::init),
                       slot(&P::fini),
                       slot(&P::claim),
                       slot(&P::supportsFiType),
                       slot(&P::deportTree),
                       slot(&P::importTreeNode),
                       slot(&P::initNode),
                       slot(&P::config),
                       slot(&P::initAltNode),
                       slot(&P::reAccessTmpObj),
                       slot(&P::reAccessAltNode),
                       slot(&P::deInitNode),
                       slot(&P::dispose),
                       slot(&P::online),
                       slot(&P::subobjList),
                       slot(&P::errMsg),
                       slot(&P::buildAltTree),
                       slot(&P::quiesce),
                       slot(&P::unquiesce),
                       slot(&P::make),
                       slot(&P::makeSnapshots),
                       slot(&P::prepare),
                       slot(&P::prepareSnapshots),
                       slot(&P::select),
                       slot(&P::selectSnapshots),
                       slot(&P::isReady),
                       slot(&P::cacheDisable),
                       slot(&P::cacheEnable),
                       slot(&P::cacheFlush),
                       slot(&P::interpose),
                       slot(&P::getAttr),
                       slot(&P::getProviderInfo),
                       slot(&P::enumerateNodes),
                       slot(&P::enumerateAssociations),
                       slot(&P::enumerateGroupNodes),
                       slot(&P::enumerateFims),
                       slot(&P::isValidNodeAssociation),
                       slot(&P::getAssociatedNodes),
                       slot(&P::checkNodeExistence),
                       slot(&P::objctl),
                       slot(&P::processProviderState),
                       slot(&P::getLastError),
                       slot(&P::delLastError),
                       slot(&P::getLocaleMessage),
                       slot(&P::delLocaleMessage),
                       slot(&P::enableAccess),
                       slot(&P::disableAccess),
                       slot(&P::restore),
                       slot(&P::resync),
                       slot(&P::getStatus),
                       slot(&P::prePrepare),
                       slot(&P::queryValidSecondaries),
                       slot(&P::resourceStatus),
                       slot(&P::revisitPluginNodes),
                       slot(&P::verifyQSCombos),
                       slot(&P::setImportOptions),
                       slot(&P::startBuildAltTree),
                       slot(&P::translateResourceNames),
                       slot(&P::enumerateEnclosures),
                       slot(&P::importResource),
                       slot(&P::format),
                       slot(&P::enumerateHostNodes),
                       slot(&P::onlineResource),
                       slot(&P::deportResource),
                       slot(&P::isParentPgn),
                       slot(&P::unformat),
                       slot(&P::preDeportResource),
                       slot(&P::refreshTree),
                       slot(&P::getBackupset),
                       slot(&P::getAppStatus),
                       slot(&P::setOpStatus),
                       slot(&P::setCompStatus),
                       slot(&P::setRestorepaths),
                       slot(&P::createSnapReplicaNode),
                       slot(&P::updateSnapshotId),
                       slot(&P::getSnapshotSetId),
                       slot(&P::preselect),
                       slot(&P::updateSnapshotHandle),
                       slot(&P::getSnapdiff),
                       slot(&P::postDeport),
                       slot(&P::isDeviceAccessible)});
}

TEST(Slots, of_the_private_data) {
    using D = CTARNPrivData;
    expectConsecutive({slot(&D::hasConfigInfoList),
                       slot(&D::hasConfigDataList),
                       slot(&D::addDefaultConfigParamsToDataList),
                       slot(&D::configInfoList),
                       slot(&D::configDataList),
                       slot(&D::setIntent),
                       slot(&D::getIntent),
                       slot(&D::setSplitType),
                       slot(&D::getSplitType),
                       slot(&D::setSessionId),
                       slot(&D::getSessionId),
                       slot(&D::getHostList),
                       slot(&D::setHostList),
                       slot(&D::getTransportable),
                       slot(&D::setTransportable),
                       slot(&D::setNodeState),
                       slot(&D::getNodeState),
                       slot(&D::getObjName),
                       slot(&D::addSubObject),
                       slot(&D::getSubObjectList),
                       slot(&D::getSubObjectListLength),
                       slot(&D::setIsAltNode),
                       slot(&D::getIsAltNode),
                       slot(&D::getConfiguredTarget),
                       slot(&D::getTargets),
                       slot(&D::addTarget),
                       slot(&D::setConfiguredTarget),
                       slot(&D::selectTargetFromConfigData),
                       slot(&D::setDevName),
                       slot(&D::setAltName),
                       slot(&D::setFsType),
                       slot(&D::setMntOpts),
                       slot(&D::setFsVersion)});
}

}  // namespace
