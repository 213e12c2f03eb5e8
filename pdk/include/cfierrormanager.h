// Reported errors: kept until the framework drops them, and handed at once to the registered handler.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cfimessage.h"
#include "cfimessagecatalog.h"

class ZNFI_API CFiErrorHandlerBase {
  public:
    CFiErrorHandlerBase() = default;
    CFiErrorHandlerBase(const CFiErrorHandlerBase&) = delete;
    CFiErrorHandlerBase& operator=(const CFiErrorHandlerBase&) = delete;
    virtual ~CFiErrorHandlerBase();
    virtual int handleMessage(const CFiSmartPtr<CFiMessage>& message) = 0;
    virtual int handleMessage(const std::string& text, zfi_eseverity severity) = 0;
};

// Forwards to the callback of the framework's init record. Both operations return 0; without record or callback they do
// nothing.
class ZNFI_API CFiErrorHandler : public CFiErrorHandlerBase {
  public:
    CFiErrorHandler(zfi_init* init, std::string language, CFiSmartPtr<CFiMessageCatalogManager> catalogs);
    ~CFiErrorHandler() override;
    int handleMessage(const CFiSmartPtr<CFiMessage>& message) override;
    int handleMessage(const std::string& text, zfi_eseverity severity) override;

  private:
    zfi_init* init_;
    std::string language_;
    CFiSmartPtr<CFiMessageCatalogManager> catalogs_;
};

// One per plug-in. Any thread may push; the handler is called on the pushing thread, outside the lock.
class ZNFI_API CFiErrorManager : public CFiRefCount {
  public:
    static constexpr size_t kMaxMessages = 1000;  // the oldest one makes room

    CFiErrorManager();
    ~CFiErrorManager() override;

    void pushError(const CFiSmartPtr<CFiMessage>& message);
    // Takes ownership; a new handler replaces and deletes the old one. Null takes the handler away.
    void registerHandler(CFiErrorHandlerBase* handler);

    std::vector<CFiSmartPtr<CFiMessage>> newestFirst() const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::deque<CFiSmartPtr<CFiMessage>> messages_;
    std::shared_ptr<CFiErrorHandlerBase> handler_;
};
