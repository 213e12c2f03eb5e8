#include <utility>

#include "cfierrormanager.h"
#include "cfistringtool.h"
#include "messages/message_text.h"

CFiErrorHandler::CFiErrorHandler(zfi_init* init, std::string language, CFiSmartPtr<CFiMessageCatalogManager> catalogs)
    : init_(init), language_(std::move(language)), catalogs_(std::move(catalogs)) {}

CFiErrorHandler::~CFiErrorHandler() = default;

int CFiErrorHandler::handleMessage(const CFiSmartPtr<CFiMessage>& message) {
    if (init_ == nullptr || init_->message == nullptr || !message) {
        return 0;
    }
    const std::string defaultText = znfi_runtime::localizedText(catalogs_.get(), *message, "");
    const std::string localText = znfi_runtime::localizedText(catalogs_.get(), *message, language_);
    init_->message(init_, defaultText.c_str(), localText.c_str(), message->getSeverity());
    return 0;
}

int CFiErrorHandler::handleMessage(const std::string& text, zfi_eseverity severity) {
    if (init_ != nullptr && init_->message != nullptr) {
        init_->message(init_, "", CFiStringTool::str2tstr(text).c_str(), severity);
    }
    return 0;
}
