#include <cstring>

#include "cfiformatoptionlist.h"
#include "text/format_options_reader.h"

CFiFormatOptionList::CFiFormatOptionList() = default;

CFiFormatOptionList::~CFiFormatOptionList() = default;

void CFiFormatOptionList::parse(const char* text) {
    options_.clear();
    if (text != nullptr) {
        options_ = znfi_runtime::readFormatOptions({text, std::strlen(text)});
    }
}

int CFiFormatOptionList::getValue(const char* name, std::string& value) const {
    const auto option = name == nullptr ? options_.end() : options_.find(name);
    if (option == options_.end()) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    value = option->second.value;
    return ZFI_OK;
}
