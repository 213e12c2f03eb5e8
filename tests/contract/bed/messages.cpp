#include "messages.h"

#include <regex>
#include <sstream>

namespace bed {
namespace {

constexpr const char* kSource = "providers/tarn/tarn_plugin";

void receive(zfi_init* init, const char* defaultText, const char* localText, int32_t severity) {
    auto* receiver = static_cast<MessageReceiver*>(init->context);
    receiver->severities.push_back(severity);
    const bool isEmpty = defaultText == nullptr || *defaultText == '\0' || localText == nullptr || *localText == '\0';
    receiver->hadEmptyText = receiver->hadEmptyText || isEmpty;
}

void renderOne(std::ostream& out, const std::string& id, int severity, const std::vector<std::string>& arguments) {
    out << id << " severity " << severity;
    for (const std::string& argument : arguments) {
        out << " [" << argument << ']';
    }
    out << '\n';
}

}  // namespace

MessageReceiver::MessageReceiver() {
    init.message = receive;
    init.context = this;
}

Message failedCommand(const std::string& codeName, const std::string& command) {
    return {"MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION", {codeName, command, kSource, "#"}};
}

std::string render(const Messages& messages) {
    std::ostringstream out;
    for (const Message& message : messages) {
        renderOne(out, message.id, message.severity, message.arguments);
    }
    return out.str();
}

std::string renderMessages(const EntryPoints& call) {
    static const std::regex lineNumber("[1-9][0-9]*");
    std::ostringstream out;
    zfi_msg_info* list = nullptr;
    if (call.get_last_error(&list) != ZFI_OK) {
        return "get_last_error failed\n";
    }
    for (const zfi_msg_info* message = list; message != nullptr; message = message->next) {
        std::vector<std::string> arguments;
        for (char** argument = message->arguments; argument != nullptr && *argument != nullptr; ++argument) {
            const bool isLast = argument[1] == nullptr;
            arguments.push_back(isLast && std::regex_match(*argument, lineNumber) ? "#" : *argument);
        }
        renderOne(out, message->id, message->severity, arguments);
        if (std::string(message->sourceFile) != kSource || message->sourceLine <= 0 || *message->text == '\0') {
            out << "    wrong source or text: " << message->sourceFile << ' ' << message->sourceLine << ' '
                << message->text << '\n';
        }
    }
    call.del_last_error(&list);
    return out.str();
}

}  // namespace bed
