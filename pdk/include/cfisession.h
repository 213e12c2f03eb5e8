// Sessions: the split nodes that a framework hands over during the selection of one snapshot. Not locked.
#pragma once

#include <map>
#include <string>

#include "cfismartptr.h"
#include "znfi.h"

// One node of a session. A new record knows its own name only.
class ZNFI_API CFiSplitNode {
  public:
    CFiSplitNode() = default;

    std::string name;          // the node
    std::string snapshotName;  // its snapshot object, once the layer that makes it told us
    std::string splitType;
    zfi_domain* domain = nullptr;  // not owned; valid from select to make
    int32_t freezeBudgetMs = 0;    // as the split node said
    int32_t attempts = 0;
};

class ZNFI_API CFiSession : public CFiRefCount {
  public:
    explicit CFiSession(std::string id);
    ~CFiSession() override;

    const std::string& getId() const { return id_; }
    // Records each node under its domain's object name; the first one of a name wins. Null entries are passed over.
    void addNodes(zfi_splitnode** nodes, int count);
    // The entry of that name, made empty (but for its name) when there is none.
    CFiSplitNode& node(const std::string& name);
    std::map<std::string, CFiSplitNode>& nodes() { return nodes_; }

  private:
    std::string id_;
    std::map<std::string, CFiSplitNode> nodes_;
};

// One per plug-in. Sessions live until the library is unloaded.
class ZNFI_API CFiSessionManager : public CFiRefCount {
  public:
    CFiSessionManager();
    ~CFiSessionManager() override;
    // The session of that id, made when there is none; null for a null id.
    CFiSmartPtr<CFiSession> getSession(const char* id);

  private:
    std::map<std::string, CFiSmartPtr<CFiSession>> sessions_;
};
