// The error and message operations: what the error manager holds, in texts of the catalogue.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cfipluginbase.h"
#include "messages/message_text.h"

namespace {

// A record of get_last_error together with everything that it points to.
struct MessageRecord : zfi_msg_info {
    MessageRecord(const CFiMessage& message, const std::string& localText)
        : zfi_msg_info{}, idCopy(message.getMessageId()), textCopy(localText), fileCopy(message.getFileName()) {
        for (const icu::Formattable& argument : message.getArguments()) {
            argumentCopies.push_back(znfi_runtime::utf8(znfi_runtime::argumentText(argument)));
        }
        for (std::string& argument : argumentCopies) {
            argumentPointers.push_back(argument.data());
        }
        argumentPointers.push_back(nullptr);
        id = idCopy.data();
        text = textCopy.data();
        arguments = argumentPointers.data();
        sourceFile = fileCopy.data();
        sourceLine = message.getLineNumber();
        severity = message.getSeverity();
    }
    MessageRecord(const MessageRecord&) = delete;
    MessageRecord& operator=(const MessageRecord&) = delete;

    std::string idCopy;
    std::string textCopy;
    std::string fileCopy;
    std::vector<std::string> argumentCopies;
    std::vector<char*> argumentPointers;
};

void releaseChain(zfi_msg_info* list) {
    while (list != nullptr) {
        const std::unique_ptr<MessageRecord> record(static_cast<MessageRecord*>(list));
        list = record->next;
    }
}

std::unique_ptr<CFiMessage> messageOf(const zfi_msg_info& info) {
    std::vector<icu::Formattable> arguments;
    size_t count = 0;
    while (info.arguments != nullptr && info.arguments[count] != nullptr) {
        ++count;
    }
    arguments.reserve(count);
    for (char** argument = info.arguments; argument != nullptr && *argument != nullptr; ++argument) {
        arguments.push_back(znfiTextArgument(*argument));
    }
    return std::make_unique<CFiIcuMessage>(info.id == nullptr ? "" : info.id, arguments.data(),
                                           static_cast<int>(arguments.size()), info.severity,
                                           info.sourceFile == nullptr ? "" : info.sourceFile, info.sourceLine);
}

std::string languageOf(const CFiSmartPtr<CFiMessageCatalogManager>& catalogs) {
    return catalogs ? catalogs->getNativeLanguage() : std::string();
}

}  // namespace

int CFiPluginBase::errMsg(int code, const char** text) {
    if (text == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    *text = znfi_status_text(code, languageOf(catalogManager_).c_str());
    return ZFI_OK;
}

int CFiPluginBase::getLastError(zfi_msg_info** list) {
    if (list == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    *list = nullptr;
    if (!errorManager_) {
        return ZFI_OK;
    }
    std::unique_ptr<zfi_msg_info, decltype(&releaseChain)> chain(nullptr, &releaseChain);
    zfi_msg_info** tail = nullptr;
    for (const CFiSmartPtr<CFiMessage>& message : errorManager_->newestFirst()) {
        auto record = std::make_unique<MessageRecord>(
            *message, znfi_runtime::localizedText(catalogManager_.get(), *message, languageOf(catalogManager_)));
        zfi_msg_info* added = record.release();
        if (tail == nullptr) {
            chain.reset(added);
        } else {
            *tail = added;
        }
        tail = &added->next;
    }
    *list = chain.release();
    return ZFI_OK;
}

int CFiPluginBase::delLastError(zfi_msg_info** list) {
    if (list == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    releaseChain(*list);
    *list = nullptr;
    if (errorManager_) {
        errorManager_->clear();
    }
    return ZFI_OK;
}

int CFiPluginBase::getLocaleMessage(int* length, zfi_msg_info* message, const char* locale, char** text) {
    if (length == nullptr || message == nullptr || text == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    *length = 0;
    *text = nullptr;
    const std::string localText =
        znfi_runtime::localizedText(catalogManager_.get(), *messageOf(*message), locale == nullptr ? "" : locale);
    char* copy = static_cast<char*>(znfi_alloc_buf(localText.size() + 1));
    if (copy == nullptr) {
        return ZFI_ERR_NO_MEMORY;
    }
    std::memcpy(copy, localText.c_str(), localText.size() + 1);
    *text = copy;
    *length = static_cast<int>(localText.size() + 1);
    return ZFI_OK;
}

int CFiPluginBase::delLocaleMessage(char** text) {
    if (text == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    if (*text != nullptr) {
        znfi_free_buf(*text, std::strlen(*text) + 1);
        *text = nullptr;
    }
    return ZFI_OK;
}
