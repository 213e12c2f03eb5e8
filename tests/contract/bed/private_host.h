/* A host of the test's own: user, mount and IPC namespaces in which the administration commands are recorders and the
 * mount tables are prepared files, and that has no SCSI devices. Needs no root; nothing of it is visible outside,
 * nothing has to be torn down. */
#ifndef BED_PRIVATE_HOST_H
#define BED_PRIVATE_HOST_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Moves the calling process, which must have one thread, into its private host. recorder: path of the recorder program.
 * 0; or -1 and in why a reason that can stand behind "skipped:". To be called once. */
int bedEnterPrivateHost(const char* recorder, char* why, size_t whySize);

/* Commands that are recorders, ended by a null pointer: names below /bin and /sbin. */
extern const char* const bedBinCommands[];
extern const char* const bedSbinCommands[];

#ifdef __cplusplus
}
#endif
#endif
