// Exceptions of the framework. EFiExecPipe, the command runner's, is in cfiexecpipe.h.
#pragma once

#include <string>

#include "znfi.h"

class ZNFI_API CFiError {
  public:
    // code: a status; file, function, line: where it was raised.
    CFiError(int code, std::string text, std::string file, int line, std::string function);
    CFiError(const CFiError&) = default;
    CFiError& operator=(const CFiError&) = default;
    virtual ~CFiError();

    virtual const std::string& getText() const;
    int getCode() const { return code_; }
    const std::string& getFileName() const { return file_; }      // the first text member
    const std::string& getFunction() const { return function_; }  // the second text member
    int getLine() const { return line_; }

    // "MSG_ERROR_<COMPONENT>_<nnnn>", where nnnn is the code less offset when it is greater than offset, otherwise the
    // code.
    std::string getMessageId(const std::string& component, int offset) const;

  private:
    int code_;
    std::string text_;
    std::string file_;
    std::string function_;
    int line_;
};

// A unique disk id that could not be parsed.
class ZNFI_API CFiUdidException {
  public:
    CFiUdidException(std::string text, int code);
    CFiUdidException(const CFiUdidException&) = default;
    CFiUdidException& operator=(const CFiUdidException&) = default;
    virtual ~CFiUdidException();
    const std::string& getText() const { return text_; }
    int getCode() const { return code_; }

  private:
    std::string text_;
    int code_;
};
