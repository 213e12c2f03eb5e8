#include <utility>

#include "cfimessage.h"

namespace {

void requireTexts(const icu::Formattable* arguments, int count) {
    for (int i = 0; i < count; ++i) {
        UErrorCode status = U_ZERO_ERROR;
        if (arguments[i].getType() == icu::Formattable::kString &&
            (arguments[i].getString(status).isBogus() || U_FAILURE(status))) {
            throw std::bad_alloc();
        }
    }
}

}  // namespace

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
        requireTexts(arguments, count);
        arguments_.assign(arguments, arguments + count);
        requireTexts(arguments_.data(), count);
    }
}

CFiIcuMessage::~CFiIcuMessage() = default;

const std::vector<icu::Formattable>& CFiIcuMessage::getArguments() const {
    return arguments_;
}
