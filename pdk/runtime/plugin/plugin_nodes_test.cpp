#include <gtest/gtest.h>

#include <cstring>

#include "cfipluginbase.h"

namespace {

znfi_objid* idOf(const std::string& name) {
    return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_SUBOBJECT);
}

class PluginNodes : public testing::Test {
  protected:
    PluginNodes() {
        const auto manager = makeCounted<CFiPrivateDataManager>();
        manager->registerFactory(factory_);
        plugin_.registerPrivateDataManager(manager);
        node_.objid = idOf("/data");
    }

    CFiPluginBase plugin_;
    const CFiSmartPtr<CFiPrivateDataFactory> factory_ = makeCounted<CFiPrivateDataConcreteFactory<CFiPrivateData>>();
    zfi_domain node_{};
    znfi_objid** objects_ = nullptr;
    int count_ = 9;
};

TEST_F(PluginNodes, SubObjectsComeInABufferOfTheRuntime) {
    const auto data = factory_->allocate(&node_, false);
    data->addSubObject(idOf("/dev/a"));
    data->addSubObject(idOf("/dev/b"));
    const int64_t before = znfi_outstanding_bufs();
    EXPECT_EQ(plugin_.subobjList(&node_, &objects_, &count_), ZFI_OK);
    ASSERT_EQ(count_, 2);
    EXPECT_EQ(objects_[0], idOf("/dev/a"));
    EXPECT_EQ(objects_[1], idOf("/dev/b"));
    EXPECT_EQ(znfi_outstanding_bufs(), before + 1);
    znfi_free_buf(objects_, 2 * sizeof(znfi_objid*));
    plugin_.deInitNode(&node_);
}

TEST_F(PluginNodes, WithoutSubObjectsTheListIsNull) {
    factory_->allocate(&node_, false);
    EXPECT_EQ(plugin_.subobjList(&node_, &objects_, &count_), ZFI_OK);
    EXPECT_EQ(objects_, nullptr);
    EXPECT_EQ(count_, 0);
    plugin_.deInitNode(&node_);
}

TEST_F(PluginNodes, SubObjectsNeedPrivateDataAndAllPointers) {
    objects_ = &node_.objid;
    EXPECT_EQ(plugin_.subobjList(&node_, &objects_, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(objects_, nullptr);
    EXPECT_EQ(count_, 0);
    EXPECT_EQ(CFiPluginBase().subobjList(&node_, &objects_, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.subobjList(nullptr, &objects_, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.subobjList(&node_, nullptr, &count_), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.subobjList(&node_, &objects_, nullptr), ZFI_ERR_INVALID_ARGUMENT);
}

TEST_F(PluginNodes, DeInitGivesBackPrivateDataAndQuiesceRecord) {
    const int64_t before = znfi_outstanding_bufs();
    factory_->allocate(&node_, false);
    node_.quiesce = static_cast<zfi_quiescenode*>(znfi_alloc_buf(sizeof(zfi_quiescenode)));
    node_.quiesce->method = strdup("xfs_freeze");
    node_.quiesceNext = this;
    plugin_.deInitNode(&node_);
    EXPECT_EQ(node_.privateData, nullptr);
    EXPECT_EQ(node_.quiesce, nullptr);
    EXPECT_EQ(node_.quiesceNext, nullptr);
    EXPECT_FALSE(factory_->accessByName("/data", false));
    EXPECT_EQ(znfi_outstanding_bufs(), before);
    plugin_.deInitNode(&node_);  // twice is harmless
}

TEST_F(PluginNodes, DeInitOfAnUnwiredPluginStillReleasesTheQuiesceRecord) {
    node_.quiesce = static_cast<zfi_quiescenode*>(znfi_alloc_buf(sizeof(zfi_quiescenode)));
    CFiPluginBase().deInitNode(&node_);
    EXPECT_EQ(node_.quiesce, nullptr);
    plugin_.deInitNode(nullptr);
}

TEST_F(PluginNodes, TheSnapshotsNameGoesToTheSessionsEntry) {
    const auto session = makeCounted<CFiSession>("s");
    session->node("/data");
    zfi_snapreplica_ele element{idOf("/data"), idOf("/dev/snap"), nullptr, 0, 0};
    EXPECT_EQ(plugin_.updateSnapshotHandle(session, &element), ZFI_OK);
    EXPECT_EQ(session->node("/data").snapshotName, "/dev/snap");
}

TEST_F(PluginNodes, AHandleThatIsNotWholeOrNotOfTheSessionIsRefused) {
    const auto session = makeCounted<CFiSession>("s");
    session->node("/data").snapshotName = "old";
    zfi_snapreplica_ele element{idOf("/data"), nullptr, nullptr, 0, 0};
    EXPECT_EQ(plugin_.updateSnapshotHandle(session, nullptr), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_.updateSnapshotHandle(session, &element), ZFI_ERR_INVALID_ARGUMENT);
    element = {nullptr, idOf("/dev/snap"), nullptr, 0, 0};
    EXPECT_EQ(plugin_.updateSnapshotHandle(session, &element), ZFI_ERR_INVALID_ARGUMENT);
    element.node = idOf("/other");
    EXPECT_EQ(plugin_.updateSnapshotHandle(session, &element), ZFI_ERR_INVALID_ARGUMENT);
    element.node = idOf("/data");
    EXPECT_EQ(plugin_.updateSnapshotHandle({}, &element), ZFI_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(session->nodes().size(), 1U);
    EXPECT_EQ(session->node("/data").snapshotName, "old");
}

}  // namespace
