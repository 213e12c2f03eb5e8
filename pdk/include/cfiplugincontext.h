// Who this plug-in is: compiled into a provider, never into the runtime. The build defines ZFI_PROVIDER as the bare
// provider name (-DZFI_PROVIDER=tarnfi); everything that carries the name is derived from it.
#pragma once

#include <string>

#include "cfisingleton.h"
#include "cfistring.h"

#ifndef ZFI_PROVIDER
#error "define ZFI_PROVIDER as the provider's name"
#endif

#define ZFI_JOIN_(a, b) a##b
#define ZFI_JOIN(a, b) ZFI_JOIN_(a, b)
#define ZFI_TEXT_(a) #a
#define ZFI_TEXT(a) ZFI_TEXT_(a)
#define ZFI_WIDE_TEXT(a) ZFI_JOIN(L, ZFI_TEXT(a))

// The tag of this plug-in's singletons.
#define FI_PLUGIN_NAME ZFI_JOIN(ZFI_PROVIDER, _plugin_context)
struct FI_PLUGIN_NAME;

inline const std::string cfi_pgn_name_str{ZFI_TEXT(ZFI_PROVIDER)};
inline const std::wstring cfi_pgn_name_wstr{ZFI_WIDE_TEXT(ZFI_PROVIDER)};
inline const zfi_tstring cfi_pgn_name_tstr{ZFI_TEXT(ZFI_PROVIDER)};
