/* Stands in for every administration command: writes down how it was called, then does what the test prepared for its
 * n-th call: prints, replaces the mount table, hangs, ends. */
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "layout.h"

enum { kMaxLog = 1 << 20 };

static char text[kMaxLog];

/* The file's content, ended by a NUL; -1 when there is no such file. */
static long readFile(const char* path, char* out, size_t size) {
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return -1;
    }
    ssize_t got = 0;
    size_t length = 0;
    while (length + 1 < size && (got = read(file, out + length, size - 1 - length)) > 0) {
        length += (size_t)got;
    }
    close(file);
    out[length] = '\0';
    return (long)length;
}

static void writeAll(int file, const char* data, size_t length) {
    while (length > 0) {
        ssize_t put = write(file, data, length);
        if (put <= 0) {
            _exit(99);
        }
        data += put;
        length -= (size_t)put;
    }
}

static size_t appendText(char* out, size_t at, const char* piece) {
    size_t length = strlen(piece) + 1;
    if (at + length > kMaxLog) {
        _exit(99);
    }
    memcpy(out + at, piece, length);
    return at + length;
}

/* How often this command was called before. */
static int earlierCalls(const char* name) {
    long length = readFile(BED_LOG, text, sizeof text);
    int calls = 0;
    for (long at = 0; at < length;) {
        int arguments = atoi(text + at);
        at += (long)strlen(text + at) + 1;
        calls += strcmp(text + at, name) == 0;
        for (; arguments > 0 && at < length; --arguments) {
            at += (long)strlen(text + at) + 1;
        }
    }
    return calls;
}

static void record(int argc, char** argv) {
    char count[16];
    snprintf(count, sizeof count, "%d", argc);
    size_t length = appendText(text, 0, count);
    for (int i = 0; i < argc; ++i) {
        length = appendText(text, length, argv[i]);
    }
    int log = open(BED_LOG, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (log < 0) {
        _exit(99);
    }
    writeAll(log, text, length);
    close(log);
}

static const char* answer(const char* folder, const char* file) {
    static char path[4096];
    snprintf(path, sizeof path, "%s/%s", folder, file);
    return path;
}

int main(int argc, char** argv) {
    if (argc < 1) {
        return 99;
    }
    const char* slash = strrchr(argv[0], '/');
    const char* name = slash == NULL ? argv[0] : slash + 1;
    int nth = earlierCalls(argv[0]) + 1;
    record(argc, argv);

    char folder[1024];
    snprintf(folder, sizeof folder, BED_ANSWERS "/%s/%d", name, nth);
    struct stat info;
    if (stat(folder, &info) != 0) {
        snprintf(folder, sizeof folder, BED_ANSWERS "/%s/every", name);
    }
    long length = readFile(answer(folder, "output"), text, sizeof text);
    if (length > 0) {
        writeAll(STDOUT_FILENO, text, (size_t)length);
    }
    length = readFile(answer(folder, "mtab"), text, sizeof text);
    if (length >= 0) {
        int table = open(BED_MOUNT_TABLE, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        writeAll(table, text, (size_t)length);
        close(table);
    }
    if (stat(answer(folder, "hangs"), &info) == 0) {
        close(open(BED_HANGING, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        for (;;) {
            pause();
        }
    }
    if (readFile(answer(folder, "signal"), text, sizeof text) > 0) {
        kill(getpid(), atoi(text));
    }
    return readFile(answer(folder, "exit"), text, sizeof text) > 0 ? atoi(text) : 0;
}
