#include "plugin_road.h"

#include "znfi.h"

namespace road {

void PluginRoad::SetUp() {
    MachineRoad::SetUp();
    if (IsSkipped()) {
        return;
    }
    provider_ = std::make_unique<bed::Provider>(TARNFI_LIBRARY, "tarnfi");
    zfi_version version{};
    ASSERT_EQ(call().init(nullptr, &version, "test"), ZFI_OK);
}

void PluginRoad::TearDown() {
    if (provider_ != nullptr) {
        for (Node& node : nodes_) {
            call().deinit_node(node);
        }
        call().fini();
        provider_.reset();
    }
    MachineRoad::TearDown();
}

znfi_objid* PluginRoad::objid(const std::string& name) {
    return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_SUBOBJECT);
}

Node& PluginRoad::node(const std::string& name, const std::string& alternate) {
    Node& made = nodes_.emplace_back();
    made.domain.objid = objid(name);
    made.objids = {objid(name)};
    if (!alternate.empty()) {
        made.objids.push_back(objid(alternate));
    }
    made.domain.objids = made.objids.data();
    made.domain.objidCount = static_cast<int32_t>(made.objids.size());
    return made;
}

Node& PluginRoad::initialised(const std::string& point, const std::string& alternate) {
    Node& made = node(point, alternate);
    EXPECT_EQ(call().init_node(made, nullptr, 0, nullptr), ZFI_OK) << point;
    return made;
}

std::string PluginRoad::stateOf(zfi_domain* node) {
    zfi_blob saved{};
    EXPECT_EQ(call().process_providerstate(node, &saved, ZFI_STATE_SAVE), ZFI_OK);
    const std::string state = saved.data == nullptr ? "" : saved.data;
    znfi_free_buf(saved.data, saved.length);
    return state;
}

void PluginRoad::restoreState(zfi_domain* node, const std::string& state) {
    std::string content = state;
    zfi_blob saved{content.size() + 1, content.data(), ZFI_BLOB_TEXT, 0};
    EXPECT_EQ(call().process_providerstate(node, &saved, ZFI_STATE_RESTORE), ZFI_OK);
}

}  // namespace road
