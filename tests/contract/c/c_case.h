/* A call of the plug-in from C: what it answers and what it traces. */
#ifndef C_CASE_H
#define C_CASE_H

#include "zfi_entry_points.h"
#include "znfi.h"

/* The whole family, found by name. */
struct entry_points {
#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name* name;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
    zfi_fn_fipgn_get_objid* fipgn_get_objid;
};
extern struct entry_points call;

/* Entries without a status answer 0. out: what the call says about its out-values, null when they are as expected. */
struct c_case {
    const char* name;
    int (*call)(void);
    int status;
    const char* trace;
    const char* (*out)(void);
};

/* Trace lines: level and text; the line numbers of scopes are written #. */
#define SCOPE(function, source, inside) \
    "6 Entering Function " function " [#, " source "]\n" inside "6 Exiting Function " function " [#, " source "]\n"
#define ENTRY(name, inside) SCOPE("tarnfi_fi_pgn_" name, "cfiapiexport", inside)
#define METHOD(name, inside) SCOPE(name, "tarn_plugin", inside)
/* An entry whose method is the base class's. */
#define BASE(name) ENTRY(name, "")

extern const struct c_case null_cases[];
extern const struct c_case base_cases[];
extern const struct c_case road_cases[];
extern const struct c_case session_cases[];

znfi_objid* make_objid(const char* name);
void write_mount_table(const char* text);

#endif
