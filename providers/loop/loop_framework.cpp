#include "loop_framework.h"

#include <dlfcn.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace loopfi {

namespace fs = std::filesystem;

Provider::Provider() : library_(::dlopen(LOOPFI_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        throw std::runtime_error(::dlerror());
    }
#define ZFI_ENTRY(entry, parameters, method, delayed, rule) \
    entry = reinterpret_cast<zfi_fn_##entry*>(::dlsym(library_, "loopfi_fi_pgn_" #entry));
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
}

Provider::~Provider() {
    ::dlclose(library_);
}

Node::Node(const std::string& name) {
    domain.objid = znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_NAMED);
    split.domain = &domain;
}

void LoopProviderTest::SetUp() {
    if (const std::string missing = LoopTestBed::missing(); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    bed_ = std::make_unique<LoopTestBed>();
    buffers_ = znfi_outstanding_bufs();
    start();
}

void LoopProviderTest::TearDown() {
    if (!bed_) {
        return;
    }
    for (const auto& node : nodes_) {
        provider_->deinit_node(&node->domain);
    }
    nodes_.clear();
    provider_->fini();
    provider_.reset();
    EXPECT_EQ(znfi_outstanding_bufs(), buffers_);
    const std::string directory = bed_->directory() + "/";
    bed_.reset();
    EXPECT_TRUE(LoopTestBed::devicesOver(directory).empty()) << "a loop device was left behind";
}

void LoopProviderTest::start() {
    if (provider_) {
        for (const auto& node : nodes_) {
            provider_->deinit_node(&node->domain);
        }
        nodes_.clear();
        provider_->fini();
        provider_.reset();
        ASSERT_EQ(::dlopen(LOOPFI_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the library is still loaded";
    }
    provider_ = std::make_unique<Provider>();
    zfi_version version{};
    ASSERT_EQ(provider_->init(nullptr, &version, "test"), ZFI_OK);
    ASSERT_EQ(version.major, 7);
}

int LoopProviderTest::selectAndPrepare(const std::vector<Node*>& nodes, const std::string& id, int budgetMs) {
    std::string session = id;
    std::vector<zfi_splitnode*> list;
    for (Node* node : nodes) {
        node->split.freezeBudgetMs = budgetMs;
        list.push_back(&node->split);
    }
    const int count = static_cast<int>(list.size());
    const int status = provider_->select(nullptr, session.data(), list.data(), count);
    return status != ZFI_OK ? status : provider_->prepare(nullptr, session.data(), list.data(), count, 0);
}

Made LoopProviderTest::make(const std::vector<Node*>& nodes, const std::string& id) {
    std::string session = id;
    std::vector<zfi_splitnode*> list;
    for (Node* node : nodes) {
        list.push_back(&node->split);
    }
    znfi_objid** ids = nullptr;
    int count = 0;
    Made made;
    made.status = provider_->make(nullptr, session.data(), list.data(), static_cast<int>(list.size()), &ids, &count);
    if (made.status == ZFI_OK && ids != nullptr) {
        for (int i = 0; i < count; ++i) {
            made.devices.emplace_back(ids[i]->name);
        }
        znfi_free_buf(ids, static_cast<size_t>(count) * sizeof(znfi_objid*));
    }
    return made;
}

Node& LoopProviderTest::node(const std::string& device) {
    nodes_.push_back(std::make_unique<Node>(device));
    EXPECT_EQ(provider_->init_node(&nodes_.back()->domain, nullptr, 0, nullptr), ZFI_OK) << device;
    return *nodes_.back();
}

std::string LoopProviderTest::save(Node& node) {
    zfi_blob blob{};
    EXPECT_EQ(provider_->process_providerstate(&node.domain, &blob, ZFI_STATE_SAVE), ZFI_OK);
    EXPECT_EQ(blob.encoding, ZFI_BLOB_TEXT);
    std::string text(blob.data);
    EXPECT_EQ(blob.length, text.size() + 1);
    znfi_free_buf(blob.data, blob.length);
    return text;
}

int LoopProviderTest::restore(Node& node, const std::string& text) {
    std::string data = text;
    zfi_blob blob{data.size() + 1, data.data(), ZFI_BLOB_TEXT, 0};
    return provider_->process_providerstate(&node.domain, &blob, ZFI_STATE_RESTORE);
}

int LoopProviderTest::dispose(Node& node, const char* id) {
    zfi_splitnode split{};
    split.domain = &node.domain;
    split.sessionId = id;
    return provider_->dispose(nullptr, &node.domain, id == nullptr ? nullptr : &split, ZFI_DISPOSITION_REMOVE);
}

std::string LoopProviderTest::origin(const std::string& name, const std::string& directory) {
    const std::string image = (directory.empty() ? bed_->directory() : directory) + "/" + name;
    LoopTestBed::makeImage(image, 16 << 20, 6 << 20);
    return bed_->attach(image);
}

bool LoopProviderTest::exists(const std::string& path) {
    return fs::exists(fs::symlink_status(path));
}

bool LoopProviderTest::isAttached(const std::string& device) {
    return fs::exists("/sys/block/" + device.substr(5) + "/loop/backing_file");
}

std::vector<std::string> LoopProviderTest::leftovers() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(bed_->directory())) {
        if (entry.path().string().find(".tarnfi-") != std::string::npos) {
            found.push_back(entry.path());
        }
    }
    for (const std::string& device : LoopTestBed::devicesOver(bed_->directory() + "/")) {
        if (LoopTestBed::output("losetup -n -O BACK-FILE " + device).find(".tarnfi-") != std::string::npos) {
            found.push_back(device);
        }
    }
    return found;
}

}  // namespace loopfi
