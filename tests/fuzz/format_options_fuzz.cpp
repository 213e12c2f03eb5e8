// The format options text: whatever comes in, the parser neither fails nor touches anything but the text, a document
// type never yields options, and an option that is there has a value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cfiformatoptionlist.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CFiFormatOptionList options;
    options.parse(text.c_str());
    for (const char* name : {"mkfsOptions", "mountOptions"}) {
        std::string value = "untouched";
        const int status = options.getValue(name, value);
        require(status == ZFI_OK || (status == ZFI_ERR_INVALID_ARGUMENT && value == "untouched"));
    }

    CFiFormatOptionList refused;
    refused.parse(("<!DOCTYPE FORMAT_OPTIONS [" + text +
                   "]><FORMAT_OPTIONS><OPTION name=\"mkfsOptions\">x</OPTION>"
                   "</FORMAT_OPTIONS>")
                      .c_str());
    std::string value;
    require(refused.getValue("mkfsOptions", value) == ZFI_ERR_INVALID_ARGUMENT);
    return 0;
}
