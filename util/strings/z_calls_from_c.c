#include "z_calls.h"
#include "z_strings.h"
#include "z_time.h"
#include "z_wide_strings.h"

#if __STDC_VERSION__ != 201112L || !defined(__STRICT_ANSI__)
#error "this file is to show that strict C11 can use the headers"
#endif

#include "z_calls.inc"

void recordCallsFromC(char* transcript, size_t size) {
    recordCalls(transcript, size);
}
