// Messages of the error manager: what is expected, and what was pushed.
#pragma once

#include <string>
#include <vector>

#include "provider.h"

namespace bed {

struct Message {
    std::string id;
    std::vector<std::string> arguments;  // "#" stands for any line number
    int severity = ZFI_SEVERITY_ERROR;
};
using Messages = std::vector<Message>;  // newest first

// What the clause for a failed command pushes: the runner's code and the command line.
Message failedCommand(const std::string& codeName, const std::string& command);

// The callback of the init record: it counts and checks what arrives.
struct MessageReceiver {
    MessageReceiver();
    zfi_init init{};
    std::vector<int> severities;
    bool hadEmptyText = false;
};

// The plug-in's messages, line numbers as "#", sources checked to be the plug-in's; the error manager is empty then.
std::string renderMessages(const EntryPoints& call);
std::string render(const Messages& messages);

}  // namespace bed
