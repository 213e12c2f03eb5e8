/*
 * Bounded wide strings: the counterparts of z_strings.h with the same parameters, results and rules. Sizes and lengths
 * count wchar_t units, not bytes. Only the formatting differs; see there. C11 and C++.
 */
#ifndef UTIL_STRINGS_Z_WIDE_STRINGS_H
#define UTIL_STRINGS_Z_WIDE_STRINGS_H

#include <stdarg.h>
#include <stddef.h>
#include <wchar.h>

#include "z_export.h"

Z_BEGIN_DECLS

Z_API size_t Z_wcslcpy(wchar_t* dst, const wchar_t* src, size_t size);
Z_API size_t Z_wcslcat(wchar_t* dst, const wchar_t* src, size_t size);
Z_API size_t Z_wcslncpy(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
Z_API size_t Z_wcslncat(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
Z_API int Z_wstrverify(const wchar_t* buffer, size_t size, size_t* length);

/* Formats as swprintf and returns its result: unlike Z_snprintf that is -1 where the output did not fit, although `dst`
 * then holds the text cut at size - 1. `dst` may be among the arguments: the text is built in a temporary buffer of
 * `size` characters. Where that cannot be allocated `dst` stays untouched and the result is -1; size 0 is -1 too. A
 * null `dst` receives nothing; the result is that of the formatting. */
Z_API int Z_snwprintf(wchar_t* dst, size_t size, const wchar_t* format, ...);
Z_API int Z_vsnwprintf(wchar_t* dst, size_t size, const wchar_t* format, va_list arguments);

Z_END_DECLS

#endif
