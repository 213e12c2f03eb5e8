#include <utility>

#include "cfisession.h"

CFiSession::CFiSession(std::string id) : id_(std::move(id)) {}

CFiSession::~CFiSession() = default;

void CFiSession::addNodes(zfi_splitnode** nodes, int count) {
    for (int i = 0; nodes != nullptr && i < count; ++i) {
        const zfi_splitnode* given = nodes[i];
        if (given == nullptr || given->domain == nullptr || given->domain->objid == nullptr ||
            given->domain->objid->name == nullptr) {
            continue;
        }
        const auto [entry, isNew] = nodes_.try_emplace(given->domain->objid->name);
        if (isNew) {
            entry->second.name = entry->first;
            entry->second.splitType = given->splitType == nullptr ? "" : given->splitType;
            entry->second.domain = given->domain;
            entry->second.freezeBudgetMs = given->freezeBudgetMs;
        }
    }
}

CFiSplitNode& CFiSession::node(const std::string& name) {
    const auto [entry, isNew] = nodes_.try_emplace(name);
    if (isNew) {
        entry->second.name = name;
    }
    return entry->second;
}

CFiSessionManager::CFiSessionManager() = default;

CFiSessionManager::~CFiSessionManager() = default;

CFiSmartPtr<CFiSession> CFiSessionManager::getSession(const char* id) {
    if (id == nullptr) {
        return {};
    }
    CFiSmartPtr<CFiSession>& session = sessions_[id];
    if (!session) {
        session = makeCounted<CFiSession>(id);
    }
    return session;
}
