// The arguments of an object-control command: typed values in, typed values out, both as one line of tag-like text.
#pragma once

#include <vector>

#include "cfistring.h"
#include "znfi.h"

struct ZNFI_API CFiObjctlArg {
    zfi_tstring arg;
    zfi_tstring value;
    zfi_tstring type;
};

class ZNFI_API CFiObjctlArgs {
  public:
    CFiObjctlArgs();
    ~CFiObjctlArgs();

    // Appends the arguments of a text to the input list and returns 0. Parsing stops silently at the first deviation;
    // what was read before it is kept. The text is not changed.
    int importArgs(const char* text);
    // The output list as text.
    zfi_tstring exportArgs() const;

    std::vector<CFiObjctlArg> input;
    std::vector<CFiObjctlArg> output;
};
