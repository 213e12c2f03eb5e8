#include "private_host.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "layout.h"

const char* const bedBinCommands[] = {"mount", "umount", "mkdir", "rmdir", NULL};
const char* const bedSbinCommands[] = {"xfs_freeze", "fuser", "fsck", "mkfs", NULL};

static int failed(char* why, size_t size, const char* what) {
    snprintf(why, size, "no private host for the test: %s: %s", what, strerror(errno));
    return -1;
}

static int writeText(const char* path, const char* format, ...) __attribute__((format(printf, 2, 3)));

static int writeText(const char* path, const char* format, ...) {
    int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    int put = vdprintf(file, format, arguments);
    va_end(arguments);
    return close(file) != 0 || put < 0 ? -1 : 0;
}

static int enterNamespaces(char* why, size_t size) {
    unsigned uid = getuid();
    unsigned gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWIPC) != 0) {
        return failed(why, size, "user namespaces");
    }
    prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
    if (writeText("/proc/self/setgroups", "deny") != 0 || writeText("/proc/self/uid_map", "0 %u 1", uid) != 0 ||
        writeText("/proc/self/gid_map", "0 %u 1", gid) != 0) {
        return failed(why, size, "user id map");
    }
    if (mount("none", "/", NULL, MS_REC | MS_PRIVATE, NULL) != 0 ||
        mount("tarnfi-test-bed", BED_ROOT, "tmpfs", MS_NOSUID, "mode=0755") != 0) {
        return failed(why, size, "a tmpfs on " BED_ROOT);
    }
    /* A rescan must not reach the machine's own disks. */
    if (mount("tarnfi-test-bed", "/sys", "tmpfs", MS_NOSUID, "mode=0755") != 0) {
        return failed(why, size, "a tmpfs on /sys");
    }
    return 0;
}

static int copyRecorder(const char* recorder) {
    int from = open(recorder, O_RDONLY | O_CLOEXEC);
    int to = open(BED_PROGRAMS "/.recorder", O_WRONLY | O_CREAT | O_CLOEXEC, 0755);
    struct stat info;
    if (from < 0 || to < 0 || fstat(from, &info) != 0) {
        return -1;
    }
    for (off_t left = info.st_size; left > 0;) {
        ssize_t put = sendfile(to, from, NULL, (size_t)left);
        if (put <= 0) {
            return -1;
        }
        left -= put;
    }
    return close(from) != 0 || close(to) != 0 ? -1 : 0;
}

/* folder/command is a link to programs/command, which is a name of the recorder: a test takes a command away by
 * removing the second one. */
static int placeCommands(const char* folder, const char* const* commands) {
    char link_[256];
    char program[256];
    for (; *commands != NULL; ++commands) {
        snprintf(program, sizeof program, BED_PROGRAMS "/%s", *commands);
        snprintf(link_, sizeof link_, "%s/%s", folder, *commands);
        if (link(BED_PROGRAMS "/.recorder", program) != 0 || symlink(program, link_) != 0) {
            return -1;
        }
    }
    return 0;
}

static int overlay(const char* above, const char* folder) {
    char options[512];
    snprintf(options, sizeof options, "lowerdir=%s:%s", above, folder);
    return mount("tarnfi-test-bed", folder, "overlay", MS_RDONLY, options);
}

static int makeFolders(void) {
    const char* const folders[] = {
        BED_ROOT "/bin", BED_ROOT "/sbin",       BED_ROOT "/etc",         BED_PROGRAMS, BED_ANSWERS, BED_DEVICES,
        "/sys/class",    "/sys/class/scsi_host", "/sys/class/scsi_device"};
    for (size_t i = 0; i < sizeof folders / sizeof *folders; ++i) {
        if (mkdir(folders[i], 0755) != 0) {
            return -1;
        }
    }
    return 0;
}

/* On a host with a merged /usr, /bin and /usr/bin are one folder, and an overlay over one is an overlay over both. */
static int isMerged(const char* folder) {
    struct stat info;
    return lstat(folder, &info) == 0 && S_ISLNK(info.st_mode);
}

int bedEnterPrivateHost(const char* recorder, char* why, size_t whySize) {
    if (enterNamespaces(why, whySize) != 0) {
        return -1;
    }
    if (makeFolders() != 0 || copyRecorder(recorder) != 0 || placeCommands(BED_ROOT "/bin", bedBinCommands) != 0 ||
        placeCommands(BED_ROOT "/sbin", bedSbinCommands) != 0 || writeText(BED_MOUNT_TABLE, "%s", "") != 0 ||
        writeText(BED_PROC_MOUNTS, "%s", "") != 0 || symlink(BED_MOUNT_TABLE, BED_ROOT "/etc/mtab") != 0) {
        return failed(why, whySize, "the files of the host");
    }
    if (overlay(BED_ROOT "/bin", isMerged("/bin") ? "/usr/bin" : "/bin") != 0 ||
        overlay(BED_ROOT "/sbin", "/usr/sbin") != 0 ||
        (!isMerged("/sbin") && overlay(BED_ROOT "/sbin", "/sbin") != 0) || overlay(BED_ROOT "/etc", "/etc") != 0) {
        return failed(why, whySize, "overlays in a user namespace");
    }
    if (mount(BED_PROC_MOUNTS, "/proc/self/mounts", NULL, MS_BIND, NULL) != 0) {
        return failed(why, whySize, "a file over /proc/self/mounts");
    }
    return 0;
}
