#define _DEFAULT_SOURCE /* strnlen */

#include "z_strings.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

size_t Z_strlcpy(char* dst, const char* src, size_t size) {
    size_t copied = 0;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    while (copied < size - 1 && src[copied] != '\0') {
        dst[copied] = src[copied];
        ++copied;
    }
    dst[copied] = '\0';
    return copied;
}

size_t Z_strlcat(char* dst, const char* src, size_t size) {
    size_t room = size;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    while (room > 1 && *dst != '\0') {
        ++dst;
        --room;
    }
    if (room < 2) {
        return 0;
    }
    return Z_strlcpy(dst, src, room);
}

size_t Z_strlncpy(char* dst, const char* src, size_t n, size_t size) {
    const size_t filled = n < size ? n : size;
    size_t copied = 0;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    while (copied < filled && src[copied] != '\0') {
        dst[copied] = src[copied];
        ++copied;
    }
    memset(dst + copied, '\0', filled - copied);
    if (size > filled) {
        dst[filled] = '\0';
        return filled;
    }
    dst[size - 1] = '\0';
    return size - 1;
}

size_t Z_strlncat(char* dst, const char* src, size_t n, size_t size) {
    size_t length;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    length = strnlen(dst, size);
    /* The sum length + n + 1 is compared without building it: n may be as large as a size_t. */
    if (length < size && n < size - length - 1) {
        return Z_strlcat(dst, src, length + n + 1);
    }
    return Z_strlcat(dst, src, size);
}

int Z_strverify(const char* buffer, size_t size, size_t* length) {
    size_t found;

    if (length != NULL) {
        *length = 0;
    }
    if (buffer == NULL) {
        return -1;
    }
    found = strnlen(buffer, size);
    if (found == size) {
        return -1;
    }
    if (length != NULL) {
        *length = found;
    }
    return 0;
}

int Z_vsnprintf(char* dst, size_t size, const char* format, va_list arguments) {
    int wanted;

    if (size == 0 || dst == NULL) {
        return -1;
    }
    wanted = vsnprintf(dst, size, format, arguments);
    if (wanted < 0) {
        dst[0] = '\0';
        return 0;
    }
    if ((size_t)wanted < size) {
        return wanted;
    }
    dst[size - 1] = '\0';
    return (int)(size - 1);
}

int Z_snprintf(char* dst, size_t size, const char* format, ...) {
    va_list arguments;
    int written;

    va_start(arguments, format);
    written = Z_vsnprintf(dst, size, format, arguments);
    va_end(arguments);
    return written;
}

void* Z_dumb_realloc(void** block, size_t size) {
    void* fresh;

    if (block == NULL) {
        return NULL;
    }
    fresh = realloc(*block, size);
    /* With size 0 the system library has freed the old block already. */
    if (fresh == NULL && size != 0) {
        free(*block);
    }
    *block = fresh;
    return fresh;
}
