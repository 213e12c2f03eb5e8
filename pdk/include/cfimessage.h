// Messages: an id with typed arguments. Their text comes from a catalogue (cfimessagecatalog.h).
#pragma once

#include <unicode/fmtable.h>

#include <new>
#include <string>
#include <vector>

#include "cfismartptr.h"

// The text (UTF-8) as an argument of a message. Throws std::bad_alloc where there is no memory for it: the library
// shows that only by an argument that must be neither read nor copied.
inline icu::Formattable znfiTextArgument(const std::string& text) {
    icu::Formattable argument(icu::UnicodeString::fromUTF8(text));
    UErrorCode status = U_ZERO_ERROR;
    if (argument.getString(status).isBogus() || U_FAILURE(status)) {
        throw std::bad_alloc();
    }
    return argument;
}

class ZNFI_API CFiMessage : public CFiRefCount {
  public:
    CFiMessage(std::string id, int severity, std::string file, int line);
    ~CFiMessage() override;

    const std::string& getMessageId() const { return id_; }
    int getSeverity() const { return severity_; }  // zfi_eseverity
    const std::string& getFileName() const { return file_; }
    int getLineNumber() const { return line_; }
    // The arguments in order; none in the base.
    virtual const std::vector<icu::Formattable>& getArguments() const;

  private:
    std::string id_;
    int severity_;
    std::string file_;
    int line_;
};

// A message with arguments; keeps copies of them.
class ZNFI_API CFiIcuMessage : public CFiMessage {
  public:
    // arguments: the first of count; may be null when count is 0. Throws std::bad_alloc where one of them, or its copy,
    // is a text without memory.
    CFiIcuMessage(std::string id, const icu::Formattable* arguments, int count, int severity, std::string file,
                  int line);
    ~CFiIcuMessage() override;
    const std::vector<icu::Formattable>& getArguments() const override;

  private:
    std::vector<icu::Formattable> arguments_;
};
