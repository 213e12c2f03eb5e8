// A framework for one sequence of calls: the provider freshly loaded, its nodes, and the comparison with the model
// after every call.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "observed_calls.h"
#include "road_model.h"

namespace roads {

class Framework {
  public:
    explicit Framework(const Model& model);
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;
    // Ends the provider as a careful framework does and unloads it.
    ~Framework();

    const bed::EntryPoints& call() const { return provider_->call(); }
    zfi_domain& node(int index) { return nodes_[static_cast<size_t>(index)].domain; }
    // A modifiable text that lives as long as the framework.
    char* text(const std::string& text);
    void shape(const HostModel& host);
    bed::MessageReceiver& receiver() { return receiver_; }

    // Everything that the model knows and a node shows, buffers, scopes: throws what rapidcheck takes as a failure.
    void compare(const Model& model);
    long scopesOpened() const { return scopes_.opened(); }

    // Lists for the calls that take them; valid until the next one is made.
    zfi_splitnode** splitNodes(const std::vector<int>& list, const char* session);
    zfi_node_subobj_list* accessList(const std::vector<int>& list, const std::string& device);

  private:
    Scopes scopes_;
    std::unique_ptr<bed::Provider> provider_;
    bed::MessageReceiver receiver_;
    std::deque<bed::Node> nodes_;
    std::deque<std::string> texts_;
    std::vector<zfi_splitnode> splits_;
    std::vector<zfi_splitnode*> splitPointers_;
    std::vector<zfi_node_subobj_list> access_;
    bed::Node device_;
    zfi_domain* devices_[2] = {};
};

znfi_objid* objid(const std::string& name);

}  // namespace roads
