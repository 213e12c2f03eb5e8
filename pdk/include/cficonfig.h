// Descriptions and values of configuration parameters. The framework fills them; providers that have none leave them
// empty.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "znfi.h"

// What the framework may configure: a list of parameter names with the limits of the list.
class ZNFI_API CFiConfigParamInfoList {
  public:
    CFiConfigParamInfoList() = default;

    std::vector<std::string> parameters;
    uint32_t kind = 6;
    uint32_t scope = 3;
    bool required = false;
    int32_t minimum = -1;
    int32_t maximum = -1;
    std::string name;
};

// The values that the framework configured.
class ZNFI_API CFiConfigDataList {
  public:
    CFiConfigDataList() = default;

    std::vector<std::pair<std::string, std::string>> values;
};
