// One node of the tree: the record that a provider works on, with everything that the host has to own for it. The node
// is taken from its provider (deinit_node) when it is destroyed. One thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/provider/provider.h"
#include "host/report/failure.h"
#include "zfi_types.h"

namespace tarnctl {

class Node {
  public:
    // Not initialised by the provider yet. provider is borrowed and must outlive the node.
    Node(Provider& provider, const std::string& name);
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    ~Node();

    Provider& provider() const { return provider_; }
    const std::string& name() const { return name_; }
    zfi_domain* record() { return &record_; }
    zfi_splitnode* split() { return &split_; }

    // init_node. The record has its private data and quiesce record afterwards.
    Status init();
    // init_altnode for this node as the alternate of origin.
    Status initAsAlternateOf(Node& origin);
    // The names of the node's sub-objects.
    Result<std::vector<std::string>> subObjects();
    // Does its volume provider say that it cuts this volume at one instant, also while it is written to? False where it
    // knows no such question.
    Result<bool> cutsAtomically();
    // Asks for this name in build_alttree.
    void requestAlternate(const std::string& name);
    // The session that splits this node, and the milliseconds it may take in the window.
    void joinSession(const std::string& sessionId, int freezeBudgetMs);

    // Makes the node's snapshot in its session. Interned like every object id. kFailed also where the provider reports
    // success and names none: it could not be reached.
    Result<znfi_objid*> makeSnapshot();

    // The provider's state of the node, for the catalog.
    Result<std::string> state();
    Status restoreState(const std::string& blob);

  private:
    Provider& provider_;
    std::string name_;
    std::string sessionId_;
    znfi_objid* ids_[2] = {nullptr, nullptr};
    int fiTypeResult_ = 0;
    zfi_domain record_{};
    zfi_splitnode split_{};
};

// An object id of a name.
znfi_objid* objectId(const std::string& name);

// The first of the providers that says that the object is its own; null when none does.
Result<Provider*> claimant(const std::vector<std::unique_ptr<Provider>>& providers, const std::string& object);

}  // namespace tarnctl
