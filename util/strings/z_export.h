/* How the Z_ family crosses a library's border: C linkage, and visible although everything around it is hidden. */
#ifndef UTIL_STRINGS_Z_EXPORT_H
#define UTIL_STRINGS_Z_EXPORT_H

#ifdef __cplusplus
#define Z_BEGIN_DECLS extern "C" {
#define Z_END_DECLS }
#else
#define Z_BEGIN_DECLS
#define Z_END_DECLS
#endif

#define Z_API __attribute__((visibility("default")))
#define Z_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))

#endif
