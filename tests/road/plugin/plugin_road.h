// The shipped plug-in, started, and nodes as a framework keeps them.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "bed/provider.h"
#include "content.h"
#include "machine_road.h"

namespace road {

// A node of the framework. Released with deinit_node when the test ends.
struct Node {
    zfi_domain domain{};
    std::vector<znfi_objid*> objids;
    operator zfi_domain*() { return &domain; }
    zfi_domain* operator->() { return &domain; }
};

// The name of a test that runs once for each file-system type.
inline std::string typeName(const testing::TestParamInfo<const char*>& type) {
    return type.param;
}

class PluginRoad : public MachineRoad {
  protected:
    void SetUp() override;
    void TearDown() override;

    const bed::EntryPoints& call() const { return provider_->call(); }

    // A new node. alternate: the alternate name that is requested for it.
    Node& node(const std::string& name, const std::string& alternate = {});
    // The node of a mount point after init_node.
    Node& initialised(const std::string& point, const std::string& alternate = {});
    static znfi_objid* objid(const std::string& name);

    // The node's state as process_providerstate saves it, and a node that gets it back.
    std::string stateOf(zfi_domain* node);
    void restoreState(zfi_domain* node, const std::string& state);

  private:
    std::unique_ptr<bed::Provider> provider_;
    std::deque<Node> nodes_;
};

}  // namespace road
