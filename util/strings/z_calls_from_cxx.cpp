#include "z_calls.h"
#include "z_strings.h"
#include "z_time.h"
#include "z_wide_strings.h"

static_assert(__cplusplus >= 202002L);

// The text is C: its casts are to stay readable to a C compiler.
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include "z_calls.inc"

void recordCallsFromCxx(char* transcript, size_t size) {
    recordCalls(transcript, size);
}
