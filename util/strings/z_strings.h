/*
 * Bounded narrow strings. C11 and C++.
 *
 * For all of them:
 *  - `size` is the room of the whole destination in characters, terminator included; nothing is written beyond it.
 *  - What is written is always terminated.
 *  - Null pointers and a size of 0 are accepted: the result named below comes back and nothing is written.
 *  - No more of `src` is read than could be copied, so a source without terminator is fine when it is long enough.
 *  - Destination and source must not overlap. Nothing is allocated or owned, except by Z_dumb_realloc.
 *  - No state: safe to call from any thread, on buffers that no other thread writes.
 */
#ifndef UTIL_STRINGS_Z_STRINGS_H
#define UTIL_STRINGS_Z_STRINGS_H

#include <stdarg.h>
#include <stddef.h>

#include "z_export.h"

Z_BEGIN_DECLS

/* Copies up to size - 1 characters. Returns how many were copied (not the source's length); 0 for null or size 0. */
Z_API size_t Z_strlcpy(char* dst, const char* src, size_t size);

/* Appends. Returns how many characters were appended; 0, with nothing written, where `dst` has no terminator within
 * `size` or no room behind it. */
Z_API size_t Z_strlcat(char* dst, const char* src, size_t size);

/* Copies at most `n` characters and fills up to `n` with terminators, as strncpy does, but within `size` and always
 * terminated. Returns the positions filled, filling included: n, or size - 1 where n does not fit. */
Z_API size_t Z_strlncpy(char* dst, const char* src, size_t n, size_t size);

/* Appends at most `n` characters. Returns as Z_strlcat. */
Z_API size_t Z_strlncat(char* dst, const char* src, size_t n, size_t size);

/* 0 when `buffer` is terminated within its first `size` characters, otherwise (or null) -1. `length`, where given,
 * receives the position of the terminator, or 0 with -1. */
Z_API int Z_strverify(const char* buffer, size_t size, size_t* length);

/* Formats as snprintf. Returns the characters really written: at most size - 1 where the output was cut, 0 with an
 * empty text where formatting failed; -1 for a null `dst` or size 0. */
Z_API int Z_snprintf(char* dst, size_t size, const char* format, ...) Z_PRINTF(3, 4);
Z_API int Z_vsnprintf(char* dst, size_t size, const char* format, va_list arguments) Z_PRINTF(3, 0);

/* realloc of *block that forgets the old block: *block becomes the result in every case, and where there is no memory
 * the old block is freed and both are null. Size 0 frees an existing block. A null `block` returns null. The caller
 * owns *block and frees it with free(). */
Z_API void* Z_dumb_realloc(void** block, size_t size);

Z_END_DECLS

#endif
