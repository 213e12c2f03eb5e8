/* The runtime's C interface (libznfi): object ids, buffers, provider lists, trace destinations.
 *
 * C11 and C++20. Every function may be called from any thread unless it says otherwise. None throws; a failed
 * allocation is answered with a null pointer.
 *
 * Heap memory that crosses the boundary and is NOT a buffer of znfi_alloc_buf:
 *   - zfi_quiescenode.method: strdup by the provider, freed by the base deinit_node;
 *   - the out text of objctl: strdup, freed by the caller with free();
 *   - the path arrays of online_resource and restore: malloc, freed by the caller with free(); their elements are
 *     buffers of the length of their text and its terminator.
 */
#ifndef ZNFI_H
#define ZNFI_H

#include "zfi_types.h"

#define ZNFI_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Object ids ------------------------------------------------------------------------------------------------ */

/* The object id of a name. name: text; length: its bytes including the terminator (the name ends at its first NUL
 * or after length - 1 bytes); flag: ZFI_OBJID_NAMED or ZFI_OBJID_SUBOBJECT. The id is interned: the same name and flag
 * give the same address until the process ends; never freed by callers. Null for a null name, for an empty name with
 * ZFI_OBJID_NAMED, and when memory is out. */
ZNFI_API znfi_objid *znfi_get_objid(const char *name, uint32_t length, int flag);

/* ---- Buffers --------------------------------------------------------------------------------------------------- */

/* A zeroed buffer of size bytes (size 0 gives a valid, distinct pointer); null when memory is out. */
ZNFI_API void *znfi_alloc_buf(size_t size);
/* Frees a buffer of znfi_alloc_buf. size must be the size it was made with; a null buffer is passed over. */
ZNFI_API void znfi_free_buf(void *buffer, size_t size);
/* Buffers made and not yet freed in this process. */
ZNFI_API int64_t znfi_outstanding_bufs(void);

/* ---- Provider lists -------------------------------------------------------------------------------------------- */

/* One list node with copies of everything passed; fiTypes is ended by a null pointer. Null when memory is out. */
ZNFI_API zfi_provider_list *znfi_build_providerlist_node(const char *name, uint64_t capabilities, uint32_t kind,
                                                         const zfi_version *version, char *const *fiTypes);
/* Frees a whole chain; a null list is passed over. */
ZNFI_API void znfi_free_providerlist(zfi_provider_list *list);

/* ---- Trace ----------------------------------------------------------------------------------------------------- */

/* Levels: 1 errors, 2 warnings, 3 progress, 6 detail; 7 is the runtime's own. A line is written when its level is not
 * above the threshold. ZFI_TRACE_LEVEL and ZFI_TRACE_FILE give the start values (2, standard error). */

/* Receives a text unchanged: no time, no line break added. Called on the tracing thread (what was held: on the one that
 * releases), for one text at a time. What it traces itself is dropped; it must not call the functions below and must
 * not throw. */
typedef void znfi_trace_sink_fn(void *context, int level, const char *plugin, const char *text);

/* Sends lines to the sink instead of the file; a null sink goes back to the file. Not while other threads trace. */
ZNFI_API void znfi_trace_sink(znfi_trace_sink_fn *sink, void *context);
/* Hands every written line to the tap as well, unchanged, besides its destination; null takes it away. Same rules. */
ZNFI_API void znfi_trace_tap(znfi_trace_sink_fn *tap, void *context);
ZNFI_API void znfi_trace_set_level(int level);
ZNFI_API int znfi_trace_level(void);
/* Appends to this file from now on (created 0600, never through a link); null: standard error. 0, or an errno and lines
 * go where they went before: ELOOP for a symbolic link, EMLINK for a file with several names, EINVAL for what is neither
 * a regular file nor a character device. ZFI_TRACE_FILE is opened with the first line; a file that cannot be opened
 * leaves the lines on standard error.
 * A line is "time process level plug-in road text": UTC with milliseconds, "-" where there is no plug-in or road; one
 * trailing line break of the text is dropped, its further lines begin with "| ". */
ZNFI_API int znfi_trace_file(const char *path);
/* Written into every line of the file; at most 31 bytes are kept; null or "" clears it. */
ZNFI_API void znfi_trace_road(const char *roadId);
/* Between hold and release (counted) lines gather, with the time at which they were traced, in a buffer of 1 MiB that
 * the first hold allocates and touches, and nothing is written anywhere, sinks included; the last release writes them in
 * order. From the first line that does not fit on, lines are only counted, and the release reports the count as a line
 * of level 7 of "znfi". A release without a hold does nothing. */
ZNFI_API void znfi_trace_hold(void);
ZNFI_API void znfi_trace_release(void);

#ifdef __cplusplus
}
#endif
#endif
