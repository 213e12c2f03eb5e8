// One test: a private host, the plug-in started on it, nodes as a framework keeps them, and everything that is
// observed.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "faults.h"
#include "host.h"
#include "messages.h"
#include "provider.h"
#include "trace.h"
#include "virtual_time.h"

namespace bed {

// A node of the framework. Released with deinit_node when the bed ends.
struct Node {
    Node(const char* name, const std::vector<const char*>& objids);
    zfi_domain domain{};
    std::vector<znfi_objid*> objids;
    operator zfi_domain*() { return &domain; }
    zfi_domain* operator->() { return &domain; }
};

// What a node's state blob holds.
struct State {
    std::string device = {};
    std::string type = {};
    std::string version = {};
    std::string options = {};
    std::string altName = {};
    std::string text() const;
};

class Bed {
  public:
    // Loads and starts the plug-in on an empty host.
    Bed();
    Bed(const Bed&) = delete;
    Bed& operator=(const Bed&) = delete;
    // Ends the plug-in.
    ~Bed();

    const EntryPoints& call() const { return provider_->call(); }
    // A new node. objids: [0] the node a request is for, [1] a requested alternate name; null for a missing entry.
    Node& node(const char* name, const std::vector<const char*>& objids = {});
    // The node of that name after init_node on a host with this mount table.
    Node& initialised(const char* name, const std::string& mountTable, const std::string& procMounts = {});
    // The node of that name with this state restored into its private data; it has no sub-object.
    Node& restored(const char* name, const State& state, const std::vector<const char*>& objids = {});

    Node& lastNode() { return nodes_.back(); }

    // Restores this state into the node's private data, whatever it held.
    void restore(Node& node, const State& state);

    // The text of the node's state now; empty when it cannot be had.
    std::string stateOf(Node& node);
    // The names of the node's sub-objects.
    std::vector<std::string> subObjectsOf(Node& node);
    static znfi_objid* objid(const char* name) { return name == nullptr ? nullptr : makeObjid(name); }
    // A modifiable copy of a text, alive as long as the bed.
    char* text(const char* text);

    // Forgets what was observed and pushed so far and shapes the host for the call to come.
    void begin(const Host& host);
    MessageReceiver& receiver() { return receiver_; }

    // Out-values that calls of a row may use.
    znfi_objid* outObject = nullptr;
    znfi_objid** outObjects = nullptr;
    char** outPaths = nullptr;
    zfi_blob blob{};
    zfi_accessnode access{};
    int outInt = -77;
    // Lists that calls of a row take.
    std::deque<zfi_quiescenode> quiesceRecords;
    std::vector<zfi_quiescenode*> quiesceList;
    std::deque<std::vector<zfi_domain*>> subObjectArrays;
    std::deque<zfi_node_subobj_list> accessList;

  private:
    static znfi_objid* makeObjid(const char* name);

    std::unique_ptr<Provider> provider_;
    MessageReceiver receiver_;
    std::deque<Node> nodes_;
    std::deque<std::string> texts_;
};

// Why tests cannot run here; empty when they can. Set by the program's start.
std::string& reasonToSkip();

}  // namespace bed
