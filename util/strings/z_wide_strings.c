#define _DEFAULT_SOURCE /* wcsnlen */

#include "z_wide_strings.h"

#include <stdlib.h>

size_t Z_wcslcpy(wchar_t* dst, const wchar_t* src, size_t size) {
    size_t copied;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    /* The last position of `size` could only say what is known without it: that size - 1 characters are copied. */
    if (Z_wstrverify(src, size - 1, &copied) != 0) {
        copied = size - 1;
    }
    wmemcpy(dst, src, copied);
    dst[copied] = L'\0';
    return copied;
}

size_t Z_wcslcat(wchar_t* dst, const wchar_t* src, size_t size) {
    size_t room = size;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    while (room > 1 && *dst != L'\0') {
        ++dst;
        --room;
    }
    if (room < 2) {
        return 0;
    }
    return Z_wcslcpy(dst, src, room);
}

size_t Z_wcslncpy(wchar_t* dst, const wchar_t* src, size_t n, size_t size) {
    const size_t filled = n < size ? n : size;
    size_t copied = 0;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    while (copied < filled && src[copied] != L'\0') {
        dst[copied] = src[copied];
        ++copied;
    }
    wmemset(dst + copied, L'\0', filled - copied);
    if (size > filled) {
        dst[filled] = L'\0';
        return filled;
    }
    dst[size - 1] = L'\0';
    return size - 1;
}

size_t Z_wcslncat(wchar_t* dst, const wchar_t* src, size_t n, size_t size) {
    size_t length;

    if (size == 0 || dst == NULL || src == NULL) {
        return 0;
    }
    length = wcsnlen(dst, size);
    /* The sum length + n + 1 is compared without building it: n may be as large as a size_t. */
    if (length < size && n < size - length - 1) {
        return Z_wcslcat(dst, src, length + n + 1);
    }
    return Z_wcslcat(dst, src, size);
}

int Z_wstrverify(const wchar_t* buffer, size_t size, size_t* length) {
    size_t found;

    if (length != NULL) {
        *length = 0;
    }
    if (buffer == NULL) {
        return -1;
    }
    found = wcsnlen(buffer, size);
    if (found == size) {
        return -1;
    }
    if (length != NULL) {
        *length = found;
    }
    return 0;
}

int Z_vsnwprintf(wchar_t* dst, size_t size, const wchar_t* format, va_list arguments) {
    wchar_t* formatted;
    int written;

    if (size == 0) {
        return -1;
    }
    formatted = calloc(size, sizeof *formatted);
    if (formatted == NULL) {
        /* The system library writes a first terminator through any buffer that is said to have room. */
        return vswprintf(NULL, 0, format, arguments);
    }
    written = vswprintf(formatted, size, format, arguments);
    Z_wcslcpy(dst, formatted, size);
    free(formatted);
    return written;
}

int Z_snwprintf(wchar_t* dst, size_t size, const wchar_t* format, ...) {
    va_list arguments;
    int written;

    va_start(arguments, format);
    written = Z_vsnwprintf(dst, size, format, arguments);
    va_end(arguments);
    return written;
}
