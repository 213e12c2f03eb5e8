#include "cfierrormanager.h"

CFiErrorHandlerBase::~CFiErrorHandlerBase() = default;

CFiErrorManager::CFiErrorManager() = default;

CFiErrorManager::~CFiErrorManager() = default;

void CFiErrorManager::pushError(const CFiSmartPtr<CFiMessage>& message) {
    if (!message) {
        return;
    }
    CFiSmartPtr<CFiMessage> dropped;  // goes after the lock
    std::shared_ptr<CFiErrorHandlerBase> handler;
    {
        const std::lock_guard lock(mutex_);
        messages_.push_back(message);
        if (messages_.size() > kMaxMessages) {
            dropped = messages_.front();
            messages_.pop_front();
        }
        handler = handler_;
    }
    if (handler) {
        handler->handleMessage(message);
    }
}

void CFiErrorManager::registerHandler(CFiErrorHandlerBase* handler) {
    std::shared_ptr<CFiErrorHandlerBase> owned(handler);
    const std::lock_guard lock(mutex_);
    handler_.swap(owned);
}

std::vector<CFiSmartPtr<CFiMessage>> CFiErrorManager::newestFirst() const {
    const std::lock_guard lock(mutex_);
    return {messages_.rbegin(), messages_.rend()};
}

void CFiErrorManager::clear() {
    std::deque<CFiSmartPtr<CFiMessage>> dropped;
    const std::lock_guard lock(mutex_);
    messages_.swap(dropped);
}
