"""File systems of a test's own: images in one folder, attached to loop devices and mounted. Everything in it bears the
folder's name, so that teardown and the sweep after it know what is ours, also after a run that was killed."""
import contextlib
import os
import shutil
import subprocess
import time

import kernel

_ROOM = "/var/tmp"  # on a disk, and root's alone may exchange what lies in it
MKFS = {
    "xfs": ["mkfs.xfs", "-q", "-f"],
    "ext2": ["mkfs.ext2", "-q", "-F"],
    "ext3": ["mkfs.ext3", "-q", "-F"],
    "ext4": ["mkfs.ext4", "-q", "-F"],
    "btrfs": ["mkfs.btrfs", "-q", "-f"],
    "jfs": ["mkfs.jfs", "-q"],
    "reiserfs": ["mkfs.reiserfs", "-q", "-f", "-f"],  # twice: an image is no block device
}
_SIZE = 320 << 20  # xfs takes no less than 300 MiB; images are sparse


def reason_to_skip(*types):
    """Why file systems of these types cannot be made here; empty when they can."""
    if os.geteuid() != 0:
        return "needs root: it mounts and freezes file systems"
    if not os.access("/dev/loop-control", os.R_OK | os.W_OK):
        return "needs loop devices (/dev/loop-control)"
    with open("/proc/filesystems", encoding="ascii") as file:
        known = file.read().split()
    for fs_type in types:
        if shutil.which(MKFS[fs_type][0]) is None:
            return f"needs {MKFS[fs_type][0]}"
        if fs_type not in known and subprocess.run(["modprobe", "-q", fs_type], check=False).returncode != 0:
            return f"this kernel has no {fs_type}"
    return ""


class Disk:
    """A file system on a loop device over an image."""

    def __init__(self, fs_type, image, device, point):
        self.type, self.image, self.device, self.point = fs_type, image, device, point

    def at(self, name):
        return os.path.join(self.point, name)


class Scratch:
    def __init__(self, prefix):
        self._clear_what_killed_runs_left(prefix)
        self.folder = os.path.join(_ROOM, f"{prefix}{os.getpid()}")
        os.mkdir(self.folder, 0o700)
        self._store = None
        self.disks = []

    def at(self, name):
        return os.path.join(self.folder, name)

    @property
    def store_folder(self):
        """Where the store is, or would be."""
        return self._store or self.at("store")

    def store(self):
        """A folder on a file system of its own that clones files in no time, for images: made on the first call."""
        if self._store is None:
            self._store = self.disk("xfs", "store", folder=self.folder, size=1 << 30, mkfs=["-m", "reflink=1"]).point
        return self._store

    def use_plain_store(self):
        """Images lie in the folder itself, on whatever file system that is."""
        self._store = self.folder

    def disk(self, fs_type, name="data", *, folder=None, size=_SIZE, mkfs=(), options="", point=None, loop=()):
        """Makes a file system of this type in an image in `folder` (None: the store) and mounts it at `point`."""
        image = os.path.join(self.store() if folder is None else folder, name + ".img")
        with open(image, "xb") as file:
            file.truncate(size)
        _run(*MKFS[fs_type], *mkfs, image)
        point = point or self.at(name)
        device = _run("losetup", "--find", "--show", *loop, image).strip()
        try:
            os.makedirs(point, 0o755, exist_ok=True)
            kernel.mount(device, point, fs_type, options)
        finally:
            _run("losetup", "--detach", device)  # of a mounted device: with its last user, also when we are killed
        self.disks.append(Disk(fs_type, image, device, point))
        return self.disks[-1]

    def tear_down(self):
        """Thaws, unmounts, detaches and deletes all of it. May run twice."""
        clear(self.folder)

    @staticmethod
    def _clear_what_killed_runs_left(prefix):
        for name in os.listdir(_ROOM):
            pid = name.removeprefix(prefix)
            if name.startswith(prefix) and pid.isdigit() and not os.path.exists(f"/proc/{pid}"):
                clear(os.path.join(_ROOM, name))
                left = leftovers(name)
                if left:
                    raise RuntimeError("a killed run left what cannot be cleared: " + "; ".join(left))


def clear(folder):
    """In rounds, because one lies on the other: a mount stays busy as long as a device over a file in it is attached, and
    that device as long as it is mounted; the last writer of a file system may still be on its way out."""
    deadline = time.monotonic() + 15
    while True:
        for mount in reversed(kernel.mounts(below=folder + "/")):
            with contextlib.suppress(OSError):  # hidden by another mount, or gone with one
                kernel.thaw(mount.point)
            with contextlib.suppress(OSError):
                kernel.umount(mount.point)
        for device in kernel.loop_devices(containing=folder + "/"):
            subprocess.run(["losetup", "--detach", device], check=False, stderr=subprocess.DEVNULL)
        if not kernel.mounts(below=folder + "/") and not kernel.loop_devices(containing=folder + "/"):
            shutil.rmtree(folder, ignore_errors=True)
            return
        if time.monotonic() > deadline:
            return  # it stays, for the next run to find
        time.sleep(0.02)


def leftovers(mentioning, *, patience=3.0):
    """What bears this name on the machine, as lines for people: mounts, loop devices, files and processes. What is just
    going away gets `patience` seconds."""
    deadline = time.monotonic() + patience
    while True:
        found = (
            [f"mount {mount.source} on {mount.point}" for mount in kernel.mounts() if mentioning in mount.point]
            + [f"loop device {dev} over {file}" for dev, file in kernel.loop_devices(containing=mentioning).items()]
            + [f"process {pid}: {words}" for pid, words in kernel.processes(mentioning).items()]
            + [f"file {os.path.join(room, name)}" for room in (_ROOM, "/tmp") for name in os.listdir(room)
               if mentioning in name]
        )
        if not found or time.monotonic() > deadline:
            return found
        time.sleep(0.02)


def _run(*words):
    done = subprocess.run(words, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(words)}: {done.stdout.strip()}")
    return done.stdout
