// A provider that forgot nearly all of its entry points.
#include "zfi_types.h"

__attribute__((visibility("default"))) int lackfi_fi_pgn_init(zfi_init* init, zfi_version* version,
                                                              const char* framework) {
    (void)init;
    (void)version;
    (void)framework;
    return 0;
}
