#include "framework.h"

#include <rapidcheck.h>

#include <fstream>

#include "bed/layout.h"

namespace roads {

namespace {

std::vector<const char*> requestOf(const NodeModel& node) {
    std::vector<const char*> names = {node.name.c_str()};
    if (!node.requestedName.empty()) {
        names.push_back(node.requestedName.c_str());
    }
    return names;
}

constexpr long kServedMagic = 0x58465342;
constexpr long kForeignMagic = 0x01021994;

}  // namespace

znfi_objid* objid(const std::string& name) {
    return bed::Bed::objid(name.c_str());
}

Framework::Framework(const Model& model)
    : provider_(std::make_unique<bed::Provider>(TARNFI_LIBRARY, "tarnfi")), device_("", {}) {
    std::ofstream(BED_DEVICES "/sdb1").put('x');
    shape(model.host);
    bed::resetWaits();
    for (const NodeModel& node : model.nodes) {
        nodes_.emplace_back(node.name.c_str(), requestOf(node));
    }
    zfi_version version{};
    if (call().init(&receiver_.init, &version, "roads") != ZFI_OK) {
        throw std::runtime_error("init failed");
    }
}

Framework::~Framework() {
    for (bed::Node& node : nodes_) {
        call().deinit_node(node);
    }
    zfi_msg_info* messages = nullptr;
    call().del_last_error(&messages);
    call().fini();
    provider_.reset();
    bed::clearFaults();
}

char* Framework::text(const std::string& text) {
    return texts_.emplace_back(text).data();
}

void Framework::shape(const HostModel& host) {
    bed::shapeHost(host.shape());
    bed::setFaults({.statfsMagic = host.isServed ? kServedMagic : kForeignMagic});
}

void Framework::compare(const Model& model) {
    RC_ASSERT(scopes_.fault() == std::string());
    for (int i = 0; i < kNodes; ++i) {
        const NodeModel& expected = model.nodes[static_cast<size_t>(i)];
        RC_ASSERT((node(i).privateData != nullptr) == (expected.data != kNothing));
        RC_ASSERT((node(i).quiesce != nullptr) == expected.hasRecord);
        const uint32_t state = (expected.isMade ? ZFI_STATE_MADE : 0u) | (expected.isOffline ? ZFI_STATE_OFFLINE : 0u);
        RC_ASSERT(node(i).state == state);
        RC_ASSERT((node(i).quiesceNext == nullptr));
    }
    RC_ASSERT(znfi_outstanding_bufs() == static_cast<int64_t>(model.records()));
}

zfi_splitnode** Framework::splitNodes(const std::vector<int>& list, const char* session) {
    splits_.clear();
    splitPointers_.clear();
    for (const int index : list) {
        splits_.push_back(
            {.domain = &node(index), .splitType = "mirror", .freezeBudgetMs = 0, .flags = 0, .sessionId = session});
    }
    for (zfi_splitnode& split : splits_) {
        splitPointers_.push_back(&split);
    }
    splitPointers_.push_back(nullptr);
    return splitPointers_.data();
}

zfi_node_subobj_list* Framework::accessList(const std::vector<int>& list, const std::string& device) {
    device_->objid = objid(device);
    devices_[0] = &device_.domain;
    access_.clear();
    for (const int index : list) {
        access_.push_back({.node = &node(index),
                           .subobjs = device.empty() ? nullptr : devices_,
                           .reserved = nullptr,
                           .next = nullptr});
    }
    for (size_t i = 1; i < access_.size(); ++i) {
        access_[i - 1].next = &access_[i];
    }
    return access_.empty() ? nullptr : access_.data();
}

}  // namespace roads
