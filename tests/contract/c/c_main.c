/* Calls the shipped plug-in as a framework written in C does. Usage: contract_c <table>; one line per failed case. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bed/layout.h"
#include "bed/private_host.h"
#include "c_case.h"

struct entry_points call;

static char trace[1 << 16];
static size_t traced;

/* Copies a line, the number of "[123, source]" as #. */
static void record(void* context, int level, const char* plugin, const char* text) {
    (void)context;
    (void)plugin;
    const char* bracket = strstr(text, " Function ") != NULL ? strchr(text, '[') : NULL;
    const char* comma = bracket != NULL ? strchr(bracket, ',') : NULL;
    size_t left = sizeof trace - traced;
    int put = comma != NULL && atoi(bracket + 1) > 0
                  ? snprintf(trace + traced, left, "%d %.*s[#%s\n", level, (int)(bracket - text), text, comma)
                  : snprintf(trace + traced, left, "%d %s\n", level, text);
    traced += put > 0 && (size_t)put < left ? (size_t)put : 0;
}

znfi_objid* make_objid(const char* name) {
    return znfi_get_objid(name, (uint32_t)strlen(name) + 1, ZFI_OBJID_SUBOBJECT);
}

void write_mount_table(const char* text) {
    FILE* table = fopen(BED_MOUNT_TABLE, "w");
    if (table == NULL || fputs(text, table) < 0 || fclose(table) != 0) {
        perror(BED_MOUNT_TABLE);
        exit(2);
    }
}

static void* find(void* library, const char* name) {
    void* found = dlsym(library, name);
    if (found == NULL) {
        fprintf(stderr, "no %s in the library\n", name);
        exit(2);
    }
    return found;
}

/* A data pointer turned into a function pointer: the one conversion that dlsym needs and C does not have. */
#define FIND(name, symbol)                        \
    do {                                          \
        void* found = find(library, symbol);      \
        memcpy(&call.name, &found, sizeof found); \
    } while (0);

static void* load(void) {
    void* library = dlopen(TARNFI_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(2);
    }
#define ZFI_ENTRY(name, parameters, method, delayed, rule) FIND(name, "tarnfi_fi_pgn_" #name)
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    FIND(fipgn_get_objid, "fipgn_get_objid")
    return library;
}

static int run(const struct c_case* test) {
    traced = 0;
    trace[0] = '\0';
    int status = test->call();
    int failed = 0;
    if (status != test->status) {
        printf("%s: status %d, wanted %d\n", test->name, status, test->status);
        failed = 1;
    }
    if (strcmp(trace, test->trace) != 0) {
        printf("%s: trace\n%s-- wanted\n%s", test->name, trace, test->trace);
        failed = 1;
    }
    const char* out = test->out == NULL ? NULL : test->out();
    if (out != NULL) {
        printf("%s: %s\n", test->name, out);
        failed = 1;
    }
    return failed;
}

static const struct c_case* table_of(const char* name) {
    const struct {
        const char* name;
        const struct c_case* cases;
    } tables[] = {{"null", null_cases}, {"base", base_cases}, {"road", road_cases}, {"session", session_cases}};
    for (size_t i = 0; i < sizeof tables / sizeof *tables; ++i) {
        if (strcmp(tables[i].name, name) == 0) {
            return tables[i].cases;
        }
    }
    return NULL;
}

int main(int argc, char** argv) {
    const struct c_case* test = argc == 2 ? table_of(argv[1]) : NULL;
    if (test == NULL) {
        fprintf(stderr, "usage: %s null|base|road|session\n", argv[0]);
        return 2;
    }
    char why[256];
    if (bedEnterPrivateHost(BED_RECORDER, why, sizeof why) != 0) {
        printf("SKIP: %s\n", why);
        return 77;
    }
    znfi_trace_set_level(6);
    znfi_trace_sink(record, NULL);
    void* library = load();
    zfi_version version = {0, 0, 0, 0};
    if (call.init(NULL, &version, NULL) != ZFI_OK || version.major != 7 || version.minor != 0 || version.update != 0 ||
        version.build != 0) {
        printf("init failed\n");
        return 1;
    }
    int failed = 0;
    int count = 0;
    for (; test->name != NULL; ++test, ++count) {
        failed += run(test);
    }
    traced = 0;
    call.fini();
    const char* last = ENTRY("fini", METHOD("fini", ""));
    if (strcmp(trace, last) != 0) {
        printf("fini: trace\n%s-- wanted\n%s", trace, last);
        ++failed;
    }
    if (znfi_outstanding_bufs() != 0) {
        printf("%ld buffers left\n", (long)znfi_outstanding_bufs());
        ++failed;
    }
    dlclose(library);
    printf("%d calls, %d failed\n", count, failed);
    return failed == 0 && count > 0 ? 0 : 1;
}
