// The framework's string type.
#pragma once

#include <ace/SString.h>
#include <ace/String_Base.h>

using zfi_tstring = ACE_String_Base<char>;
