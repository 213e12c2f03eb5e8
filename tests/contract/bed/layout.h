/* Where the private host of a test keeps its files: a tmpfs that exists in the test's mount namespace only. */
#ifndef BED_LAYOUT_H
#define BED_LAYOUT_H

#define BED_ROOT "/media"
#define BED_MOUNT_TABLE BED_ROOT "/mtab"        /* what /etc/mtab is */
#define BED_PROC_MOUNTS BED_ROOT "/proc_mounts" /* what /proc/mounts is for the test program */
#define BED_LOG BED_ROOT "/log"           /* the commands run: per command argc and its arguments, NUL after each */
#define BED_PROGRAMS BED_ROOT "/programs" /* the commands: links to the recorder */
#define BED_ANSWERS BED_ROOT "/answers"   /* <command>/<nth or every>/{exit,signal,output,mtab,hangs} */
#define BED_HANGING BED_ROOT "/hanging"   /* exists while a command of the test hangs */
#define BED_DEVICES BED_ROOT "/dev"       /* device nodes that can be opened: their names hold "/dev/" */

#endif
