#include "host/provider/node.h"

#include <cstdlib>

#include "znfi.h"

namespace tarnctl {

znfi_objid* objectId(const std::string& name) {
    return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_NAMED);
}

Node::Node(Provider& provider, const std::string& name) : provider_(provider), name_(name) {
    ids_[0] = objectId(name);
    record_.objid = ids_[0];
    record_.objids = ids_;
    record_.objidCount = 1;
    record_.fiTypeResult = &fiTypeResult_;
    split_.domain = &record_;
}

Node::~Node() {
    if (record_.privateData != nullptr || record_.quiesce != nullptr) {
        provider_.call([&](const EntryPoints& entry) {
            entry.deinit_node(&record_);
            return ZFI_OK;
        });
    }
}

Status Node::init() {
    CallOutcome outcome =
        provider_.call([&](const EntryPoints& entry) { return entry.init_node(&record_, nullptr, 0, nullptr); });
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "initialise the node", name_);
    }
    return Done{};
}

Status Node::initAsAlternateOf(Node& origin) {
    CallOutcome outcome = provider_.call(
        [&](const EntryPoints& entry) { return entry.init_altnode(origin.record(), nullptr, &record_); });
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "initialise the alternate node", name_);
    }
    return Done{};
}

Result<std::vector<std::string>> Node::subObjects() {
    znfi_objid** objects = nullptr;
    int count = 0;
    CallOutcome outcome =
        provider_.call([&](const EntryPoints& entry) { return entry.subobj_list(&record_, &objects, &count); });
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "list the sub-objects", name_);
    }
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        names.emplace_back(objects[i] == nullptr ? "" : objects[i]->name);
    }
    znfi_free_buf(objects, static_cast<size_t>(count) * sizeof(znfi_objid*));
    return names;
}

Result<bool> Node::cutsAtomically() {
    std::string command = "cuts_atomically";
    std::string arguments =
        "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=device value=" + name_ + " type=string /> </OBJCTL_ARG_LIST>";
    char* text = nullptr;
    long status = ZFI_ERR_FAILED;
    CallOutcome outcome = provider_.call(
        [&](const EntryPoints& entry) { return entry.objctl(command.data(), arguments.data(), &text, &status); });
    std::free(text);
    if (outcome.isOk() && (status == ZFI_OK || status == ZFI_ERR_NOT_SUPPORTED)) {
        return status == ZFI_OK;
    }
    outcome.status = outcome.isOk() ? static_cast<int>(status) : outcome.status;
    return failureOf(provider_, outcome, "ask how it cuts", name_);
}

void Node::requestAlternate(const std::string& name) {
    ids_[1] = objectId(name);
    record_.objidCount = 2;
}

void Node::joinSession(const std::string& sessionId, int freezeBudgetMs) {
    sessionId_ = sessionId;
    split_.sessionId = sessionId_.c_str();
    split_.freezeBudgetMs = freezeBudgetMs;
}

Result<znfi_objid*> Node::makeSnapshot() {
    znfi_objid** ids = nullptr;
    int count = 0;
    CallOutcome outcome = provider_.call(
        [&](const EntryPoints& entry) { return entry.make(&split_, sessionId_.data(), nullptr, 0, &ids, &count); });
    znfi_objid* const made = outcome.isOk() && ids != nullptr && count == 1 ? ids[0] : nullptr;
    znfi_free_buf(ids, static_cast<size_t>(count > 0 ? count : 0) * sizeof(znfi_objid*));
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "make the snapshot", name_);
    }
    if (made == nullptr) {
        return Failure{ExitCode::kFailed, "make the snapshot", name_,
                       provider_.name() + " reported success but named no snapshot"};
    }
    return made;
}

Result<std::string> Node::state() {
    zfi_blob blob{};
    CallOutcome outcome = provider_.call(
        [&](const EntryPoints& entry) { return entry.process_providerstate(&record_, &blob, ZFI_STATE_SAVE); });
    std::string text;
    if (blob.data != nullptr) {
        text.assign(blob.data, blob.length > 0 ? blob.length - 1 : 0);
        znfi_free_buf(blob.data, blob.length);
    }
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "save the node's state", name_);
    }
    return text;
}

Status Node::restoreState(const std::string& blobText) {
    std::string copy = blobText;
    zfi_blob blob{copy.size() + 1, copy.data(), ZFI_BLOB_TEXT, 0};
    CallOutcome outcome = provider_.call(
        [&](const EntryPoints& entry) { return entry.process_providerstate(&record_, &blob, ZFI_STATE_RESTORE); });
    if (!outcome.isOk()) {
        return failureOf(provider_, outcome, "restore the node's state", name_);
    }
    return Done{};
}

Result<Provider*> claimant(const std::vector<std::unique_ptr<Provider>>& providers, const std::string& object) {
    for (const std::unique_ptr<Provider>& provider : providers) {
        znfi_objid** subObjects = nullptr;
        int count = 0;
        CallOutcome outcome = provider->call(
            [&](const EntryPoints& entry) { return entry.claim(objectId(object), &subObjects, &count); });
        if (!outcome.escaped.empty()) {
            return failureOf(*provider, outcome, "claim", object);
        }
        if (outcome.status == ZFI_CLAIMED) {
            return provider.get();
        }
    }
    return static_cast<Provider*>(nullptr);
}

}  // namespace tarnctl
