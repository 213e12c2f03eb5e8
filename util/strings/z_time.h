/*
 * Time functions that give their result in the caller's buffer. C11 and C++.
 *
 * They copy out of the system library's shared result right after the call: against concurrent callers, of these or of
 * the system's own functions, they are as unsafe as gmtime, localtime, asctime and ctime. Only Z_timegm is free of it.
 */
#ifndef UTIL_STRINGS_Z_TIME_H
#define UTIL_STRINGS_Z_TIME_H

#include <stddef.h>
#include <time.h>

#include "z_export.h"

Z_BEGIN_DECLS

/* Seconds since the epoch of a broken-down UTC time, which is normalised in place; -1 where there is none, or null. */
Z_API time_t Z_timegm(struct tm* brokenDown);

/* Break down into *out and return it; null where a pointer is null or the time cannot be broken down. */
Z_API struct tm* Z_gmtime(const time_t* timer, struct tm* out);
Z_API struct tm* Z_localtime(const time_t* timer, struct tm* out);

/* The 24 characters of the system's time text and its newline, terminated, into `buffer`; return it. `size` is in
 * characters and must be at least 26: anything smaller gives null and errno ERANGE. A null pointer with enough room, or
 * a time that has no text, gives null; then errno is not set by these functions. */
Z_API char* Z_asctime(const struct tm* brokenDown, char* buffer, size_t size);
Z_API char* Z_ctime(const time_t* timer, char* buffer, size_t size);

Z_END_DECLS

#endif
