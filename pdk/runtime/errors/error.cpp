#include <cstdio>
#include <utility>

#include "cfierror.h"
#include "cfistringtool.h"

CFiError::CFiError(int code, std::string text, std::string file, int line, std::string function)
    : code_(code), text_(std::move(text)), file_(std::move(file)), function_(std::move(function)), line_(line) {}

CFiError::~CFiError() = default;

const std::string& CFiError::getText() const {
    return text_;
}

std::string CFiError::getMessageId(const std::string& component, int offset) const {
    char number[16];
    std::snprintf(number, sizeof number, "%04d", code_ > offset ? code_ - offset : code_);
    return "MSG_ERROR_" + CFiStringTool::tostrupper(component) + "_" + number;
}

CFiUdidException::CFiUdidException(std::string text, int code) : text_(std::move(text)), code_(code) {}

CFiUdidException::~CFiUdidException() = default;
