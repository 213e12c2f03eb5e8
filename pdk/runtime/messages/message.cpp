#include <utility>

#include "cfimessage.h"

CFiMessage::CFiMessage(std::string id, int severity, std::string file, int line)
    : id_(std::move(id)), severity_(severity), file_(std::move(file)), line_(line) {}

CFiMessage::~CFiMessage() = default;

const std::vector<icu::Formattable>& CFiMessage::getArguments() const {
    static const std::vector<icu::Formattable> none;
    return none;
}

CFiIcuMessage::CFiIcuMessage(std::string id, const icu::Formattable* arguments, int count, int severity,
                             std::string file, int line)
    : CFiMessage(std::move(id), severity, std::move(file), line) {
    if (arguments != nullptr && count > 0) {
        arguments_.assign(arguments, arguments + count);
    }
}

CFiIcuMessage::~CFiIcuMessage() = default;

const std::vector<icu::Formattable>& CFiIcuMessage::getArguments() const {
    return arguments_;
}
