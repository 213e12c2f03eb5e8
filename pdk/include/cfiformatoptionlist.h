// Named options of format and online_resource, parsed from one option text.
#pragma once

#include <map>
#include <string>

#include "znfi.h"

struct ZNFI_API CFiFormatOption {
    std::string name;
    std::string value;
};

class ZNFI_API CFiFormatOptionList {
  public:
    CFiFormatOptionList();
    ~CFiFormatOptionList();

    // Reads <FORMAT_OPTIONS><OPTION name="…">value</OPTION>…</FORMAT_OPTIONS>. Document types and external entities are
    // refused; a malformed or null text yields no options. Never throws.
    void parse(const char* text);
    // 0 and the value; or 3 with value untouched when there is no such option (names are case-sensitive).
    int getValue(const char* name, std::string& value) const;

  private:
    std::map<std::string, CFiFormatOption> options_;
};
