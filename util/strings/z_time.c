#define _DEFAULT_SOURCE /* timegm */

#include "z_time.h"

#include <errno.h>

#include "z_strings.h"

/* The system's time text: 24 characters and its newline. A buffer needs one more, for the terminator. */
enum { kTimeTextLength = 25 };

static struct tm* keep(const struct tm* shared, struct tm* out) {
    if (shared == NULL) {
        return NULL;
    }
    *out = *shared;
    return out;
}

static char* keepText(const char* shared, char* buffer, size_t size) {
    if (shared == NULL) {
        return NULL;
    }
    Z_strlcpy(buffer, shared, size);
    return buffer;
}

time_t Z_timegm(struct tm* brokenDown) {
    return brokenDown == NULL ? (time_t)-1 : timegm(brokenDown);
}

struct tm* Z_gmtime(const time_t* timer, struct tm* out) {
    return timer == NULL || out == NULL ? NULL : keep(gmtime(timer), out);
}

struct tm* Z_localtime(const time_t* timer, struct tm* out) {
    return timer == NULL || out == NULL ? NULL : keep(localtime(timer), out);
}

char* Z_asctime(const struct tm* brokenDown, char* buffer, size_t size) {
    if (size <= kTimeTextLength) {
        errno = ERANGE;
        return NULL;
    }
    return brokenDown == NULL || buffer == NULL ? NULL : keepText(asctime(brokenDown), buffer, size);
}

char* Z_ctime(const time_t* timer, char* buffer, size_t size) {
    if (size <= kTimeTextLength) {
        errno = ERANGE;
        return NULL;
    }
    return timer == NULL || buffer == NULL ? NULL : keepText(ctime(timer), buffer, size);
}
