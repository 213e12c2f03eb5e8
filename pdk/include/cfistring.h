// The framework's string type.
#pragma once

#include <ace/SString.h>
#include <ace/String_Base.h>

#include <new>

// It does not say when memory is out: what could not be copied has no characters then, not even a terminator.
using zfi_tstring = ACE_String_Base<char>;

// The text, or std::bad_alloc where making it ran out of memory.
inline const zfi_tstring& wholeText(const zfi_tstring& text) {
    if (text.c_str() == nullptr) {
        throw std::bad_alloc();
    }
    return text;
}
