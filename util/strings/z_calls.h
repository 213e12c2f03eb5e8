/* Test support: the same calls compiled by a C11 and by a C++20 compiler. */
#ifndef UTIL_STRINGS_Z_CALLS_H
#define UTIL_STRINGS_Z_CALLS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void recordCallsFromC(char* transcript, size_t size);
void recordCallsFromCxx(char* transcript, size_t size);

#ifdef __cplusplus
}
#endif

#endif
