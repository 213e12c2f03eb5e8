"""The kernel's side of a test: mounts, loop devices, freezes, its log. Nothing here goes through the product."""
import contextlib
import ctypes
import errno
import fcntl
import os
import re
import struct

_FIFREEZE, _FITHAW, _LOOP_GET_STATUS64 = 0xC0045877, 0xC0045878, 0x4C05
_CLONE_NEWNS, _MS_REC, _MS_PRIVATE = 0x00020000, 0x4000, 1 << 18
_libc = ctypes.CDLL(None, use_errno=True)


def enter_private_mounts():
    """What this process and its children mount from now on is seen by nobody else and ends with the last of them."""
    if _libc.unshare(_CLONE_NEWNS) != 0 or _libc.mount(b"none", b"/", None, _MS_REC | _MS_PRIVATE, None) != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error), "a mount namespace of our own")


def provide_mount_table():
    """After enter_private_mounts: /etc/mtab is there, as programs expect it; a machine without one gets it in this
    namespace. Why it cannot be had, or an empty text."""
    if os.path.exists("/etc/mtab"):
        return ""
    try:
        mount("tarnfi-test", "/media", "tmpfs")  # for a moment: the overlay keeps the folder
        os.mkdir("/media/etc")
        os.symlink("/proc/self/mounts", "/media/etc/mtab")
        mount("tarnfi-test", "/etc", "overlay", "ro,lowerdir=/media/etc:/etc")
        umount("/media")
    except OSError as error:
        return f"/etc/mtab is missing here and cannot be provided: {error}"
    return ""


_MOUNT_FLAGS = {"ro": 1, "nosuid": 2, "nodev": 4, "noexec": 8, "remount": 32, "noatime": 1024, "bind": 4096}


def _bytes(name):
    return ctypes.c_char_p(os.fsencode(name) if name is not None else None)


def mount(source, point, fs_type=None, options=""):
    """mount(2). Options that are no flags go to the file system."""
    words = [word for word in options.split(",") if word]
    flags = sum(_MOUNT_FLAGS.get(word, 0) for word in words)
    data = ",".join(word for word in words if word not in _MOUNT_FLAGS)
    if _libc.mount(_bytes(source), _bytes(point), _bytes(fs_type), flags, _bytes(data)) != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error), f"mount {source} at {point}")


def umount(point):
    if _libc.umount2(_bytes(point), 0) != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error), point)


def _freeze_call(path, request):
    directory = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    try:
        fcntl.ioctl(directory, request, 0)
        return 0
    except OSError as error:
        return error.errno
    finally:
        os.close(directory)


def freeze(path):
    """0, or errno: EBUSY where it is frozen already."""
    return _freeze_call(path, _FIFREEZE)


def thaw(path):
    """0, or errno: EINVAL where it was not frozen."""
    return _freeze_call(path, _FITHAW)


def _unescaped(field):
    return re.sub(rb"\\([0-7]{3})", lambda octal: bytes([int(octal[1], 8)]), field)


class Mount:
    """One line of the kernel's mount table; names are bytes decoded so that they encode back."""

    def __init__(self, line):
        left, right = line.rstrip(b"\n").split(b" - ", 1)
        fields, rest = left.split(b" "), right.split(b" ")
        self.point = os.fsdecode(_unescaped(fields[4]))
        self.options = set(os.fsdecode(fields[5]).split(","))
        self.type = os.fsdecode(rest[0])
        self.source = os.fsdecode(_unescaped(rest[1]))
        self.super_options = set(os.fsdecode(rest[2]).split(","))


def mounts(below=""):
    """The mounts of this namespace whose point begins with `below`, in the table's order."""
    with open("/proc/self/mountinfo", "rb") as table:
        return [mount for mount in map(Mount, table) if mount.point.startswith(below)]


def _holder(device):
    """The number of the block device below the file system that holds a loop device's backing file."""
    with open(device, "rb") as file:
        status = fcntl.ioctl(file, _LOOP_GET_STATUS64, bytes(232))
    return struct.unpack_from("Q", status)[0]


def loop_devices(containing=""):
    """Device to backing file, of all loop devices with `containing` in the backing file's name. A snapshot's file whose
    mount has gone with its name space has lost its folder: it counts when it lies on one of the others."""
    found, homeless = {}, {}
    for name in os.listdir("/sys/block"):
        try:
            with open(f"/sys/block/{name}/loop/backing_file", "rb") as file:
                backing = os.fsdecode(file.read().rstrip(b"\n"))
        except OSError:  # no loop device, not attached, or going away
            continue
        if containing in backing:
            found["/dev/" + name] = backing
        elif ".tarnfi-" in backing and backing.count("/") == 1:
            homeless["/dev/" + name] = backing
    numbers = {os.stat(device).st_rdev for device in found}
    for device, backing in homeless.items():
        with contextlib.suppress(OSError):
            if _holder(device) in numbers:
                found[device] = backing
    return found


def semaphores():
    """The ids of the System V semaphore sets of this machine."""
    with open("/proc/sysvipc/sem", encoding="ascii") as table:
        return {line.split()[1] for line in table.readlines()[1:]}


def processes(mentioning):
    """Process id to command line, of every process that runs a program or has an argument with `mentioning` in it."""
    found = {}
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/cmdline", "rb") as file:
                words = os.fsdecode(file.read().rstrip(b"\0").replace(b"\0", b" "))
        except OSError:
            continue
        if mentioning in words and int(pid) != os.getpid():
            found[int(pid)] = words
    return found


class KernelLog:
    """What the kernel says from now on. Where its log cannot be read, `reason` says why and nothing is found."""

    _BAD = re.compile(
        r"\bBUG\b|WARNING: CPU|Oops|general protection|blocked for more than|I/O error|lost async page write"
        r"|XFS \(\w+\): .*([Cc]orrupt|[Ee]rror|[Ss]hut ?down|[Ff]ailed)"
        r"|REISERFS (error|panic)|ERROR: \(device \w+\)"  # the latter is how jfs says it
        r"|EXT[234]-fs (error|warning)|EXT[234]-fs \(\w+\): .*(error|corrupt)|JBD2: .*([Ee]rror|[Ff]ail)"
    )

    def __init__(self):
        self.reason = ""
        self._fd = -1
        try:
            self._fd = os.open("/dev/kmsg", os.O_RDONLY | os.O_NONBLOCK)
            os.lseek(self._fd, 0, os.SEEK_END)
        except OSError as error:
            self.reason = f"/dev/kmsg: {error.strerror}"

    def errors(self):
        """The lines since the last call that report trouble with file systems, disks or the kernel itself."""
        bad = []
        while self._fd >= 0:
            try:
                line = os.read(self._fd, 16384).decode(errors="replace").split("\n", 1)[0].partition(";")[2]
            except BlockingIOError:
                break
            except OSError as error:
                if error.errno != errno.EPIPE:  # EPIPE: lines were overwritten before we came
                    raise
                continue
            if self._BAD.search(line):
                bad.append(line)
        return bad

    def close(self):
        if self._fd >= 0:
            os.close(self._fd)
            self._fd = -1
