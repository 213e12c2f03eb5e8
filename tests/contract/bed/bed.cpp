#include "bed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

namespace bed {

std::string& reasonToSkip() {
    static std::string reason;
    return reason;
}

std::string State::text() const {
    return "<DEV_NAME>" + device + "</DEV_NAME>\n<FS_TYPE>" + type + "</FS_TYPE>\n<FS_VERSION>" + version +
           "</FS_VERSION><MNT_OPTS>" + options + "</MNT_OPTS>\n<ALT_NAME>" + altName + "</ALT_NAME>\n";
}

Node::Node(const char* name, const std::vector<const char*>& names) {
    domain.objid = Bed::objid(name);
    for (const char* entry : names) {
        objids.push_back(Bed::objid(entry));
    }
    domain.objids = objids.empty() ? nullptr : objids.data();
    domain.objidCount = static_cast<int32_t>(objids.size());
}

Bed::Bed() {
    clearFaults();
    shapeHost({});
    recordTrace();
    provider_ = std::make_unique<Provider>(TARNFI_LIBRARY, "tarnfi");
    zfi_version version{};
    if (call().init(&receiver_.init, &version, "test") != ZFI_OK) {
        throw std::runtime_error("init failed");
    }
}

Bed::~Bed() {
    clearFaults();
    for (Node& node : nodes_) {
        call().deinit_node(node);
    }
    znfi_free_buf(blob.data, blob.length);
    call().fini();
    provider_.reset();
    znfi_trace_sink(nullptr, nullptr);
}

znfi_objid* Bed::makeObjid(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::strlen(name) + 1), ZFI_OBJID_SUBOBJECT);
}

Node& Bed::node(const char* name, const std::vector<const char*>& objids) {
    return nodes_.emplace_back(name, objids);
}

Node& Bed::initialised(const char* name, const std::string& mountTable, const std::string& procMounts) {
    shapeHost({.mountTable = mountTable, .procMounts = procMounts});
    Node& made = node(name, {name});
    if (call().init_node(made, nullptr, 0, nullptr) != ZFI_OK) {
        throw std::runtime_error("init_node failed");
    }
    return made;
}

Node& Bed::restored(const char* name, const State& state, const std::vector<const char*>& objids) {
    Node& made = node(name, objids);
    restore(made, state);
    return made;
}

void Bed::restore(Node& node, const State& state) {
    std::string content = state.text();
    zfi_blob saved{content.size() + 1, content.data(), ZFI_BLOB_TEXT, 0};
    if (call().process_providerstate(node, &saved, ZFI_STATE_RESTORE) != ZFI_OK) {
        throw std::runtime_error("process_providerstate failed");
    }
}

std::string Bed::stateOf(Node& node) {
    zfi_blob saved{};
    if (call().process_providerstate(node, &saved, ZFI_STATE_SAVE) != ZFI_OK || saved.data == nullptr) {
        return {};
    }
    std::string content = saved.data;
    znfi_free_buf(saved.data, saved.length);
    return content;
}

std::vector<std::string> Bed::subObjectsOf(Node& node) {
    znfi_objid** objects = nullptr;
    int count = 0;
    std::vector<std::string> names;
    if (call().subobj_list(node, &objects, &count) == ZFI_OK && objects != nullptr) {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(objects[i]->flag, static_cast<uint32_t>(ZFI_OBJID_SUBOBJECT)) << objects[i]->name;
            EXPECT_EQ(objects[i]->length, std::strlen(objects[i]->name) + 1) << objects[i]->name;
            names.push_back(objects[i]->name);
        }
        znfi_free_buf(objects, static_cast<size_t>(count) * sizeof(znfi_objid*));
    }
    return names;
}

char* Bed::text(const char* text) {
    return texts_.emplace_back(text).data();
}

void Bed::begin(const Host& host) {
    zfi_msg_info* list = nullptr;
    call().del_last_error(&list);
    receiver_.severities.clear();
    receiver_.hadEmptyText = false;
    shapeHost(host);
    resetWaits();
    forgetRemovals();
    takeTrace();
}

}  // namespace bed
