// Object-control arguments: any text is read to entries without blanks, the caller's bytes stay as they were, and what
// was read can be written and read again to the same entries.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cfiobjctlargs.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool isOneToken(const zfi_tstring& text) {
    return text.length() > 0 && std::strchr(text.c_str(), ' ') == nullptr;
}

std::string inputText(const std::vector<CFiObjctlArg>& arguments) {
    std::string text = "<OBJCTL_ARG_LIST>";
    for (const CFiObjctlArg& argument : arguments) {
        text += std::string(" <OBJCTL_INPUT arg=") + argument.arg.c_str() + " value=" + argument.value.c_str() +
                " type=" + argument.type.c_str() + " />";
    }
    return text + " </OBJCTL_ARG_LIST>";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string before = text;
    CFiObjctlArgs arguments;
    require(arguments.importArgs(text.c_str()) == 0);
    require(text == before);

    for (const CFiObjctlArg& argument : arguments.input) {
        require(isOneToken(argument.arg) && isOneToken(argument.value) && isOneToken(argument.type));
    }
    CFiObjctlArgs again;
    again.importArgs(inputText(arguments.input).c_str());
    require(again.input.size() == arguments.input.size());
    for (std::size_t i = 0; i < again.input.size(); ++i) {
        require(again.input[i].arg == arguments.input[i].arg);
        require(again.input[i].value == arguments.input[i].value);
        require(again.input[i].type == arguments.input[i].type);
    }

    arguments.output = arguments.input;
    const zfi_tstring exported = arguments.exportArgs();
    require(std::strncmp(exported.c_str(), "<OBJCTL_ARG_LIST>", 17) == 0);
    return 0;
}
