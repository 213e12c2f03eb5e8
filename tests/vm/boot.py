"""What the guest starts from: the machine's newest kernel and a memory disk with the modules that lead to its root."""
import collections
import glob
import gzip
import os
import re
import stat
import subprocess

QEMU = "qemu-system-x86_64"
BUSYBOX = "busybox"
MODPROBE = "/sbin/modprobe"
# Enough to reach the root and the disks; everything else is loaded from the root.
_MODULES = ("virtio_pci", "9p", "9pnet_virtio", "overlay", "virtio_blk", "virtio_scsi", "sd_mod")
_TOOLS = ("sh", "mount", "mkdir", "insmod", "switch_root", "poweroff", "echo")

Kernel = collections.namedtuple("Kernel", "image release")


def kernel():
    """The newest installed kernel that has the SCSI test driver; None where there is none."""
    found = []
    for image in glob.glob("/boot/vmlinuz-*"):
        release = image.removeprefix("/boot/vmlinuz-")
        if os.path.exists(f"/lib/modules/{release}/kernel/drivers/scsi/scsi_debug.ko"):
            found.append(([int(number) for number in re.findall(r"\d+", release)], Kernel(image, release)))
    return max(found)[1] if found else None


def _module_files():
    """In the order in which they can be loaded."""
    files = []
    for module in _MODULES:
        listed = subprocess.run([MODPROBE, "-S", kernel().release, "--show-depends", module], check=True,
                                stdout=subprocess.PIPE, text=True).stdout
        for line in listed.splitlines():
            word, _, path = line.strip().partition(" ")
            if word == "insmod" and path not in files:
                files.append(path)
    return files


def write_memory_disk(path, init):
    """An archive as the kernel unpacks it: `init`, a static shell and modules."""
    busybox = subprocess.run(["which", BUSYBOX], check=True, stdout=subprocess.PIPE, text=True).stdout.strip()
    modules = _module_files()
    archive = _Archive()
    for folder in ("bin", "dev", "proc", "modules"):
        archive.add(folder, stat.S_IFDIR | 0o755)
    archive.add("init", stat.S_IFREG | 0o755, _read(init))
    archive.add("bin/busybox", stat.S_IFREG | 0o755, _read(busybox))
    for tool in _TOOLS:
        archive.add("bin/" + tool, stat.S_IFLNK | 0o777, b"busybox")
    for module in modules:
        archive.add("modules/" + os.path.basename(module), stat.S_IFREG | 0o644, _read(module))
    archive.add("modules/order", stat.S_IFREG | 0o644, "".join(os.path.basename(m) + "\n" for m in modules).encode())
    with open(path, "wb") as file:
        file.write(gzip.compress(archive.finished(), 1))


class _Archive:
    """cpio, "newc" form."""

    def __init__(self):
        self._content, self._count = bytearray(), 0

    def add(self, name, mode, data=b""):
        self._count += 1
        numbers = (self._count, mode, 0, 0, 1, 0, len(data), 0, 0, 0, 0, len(name) + 1, 0)
        self._content += b"070701" + b"".join(b"%08x" % number for number in numbers) + name.encode() + b"\0"
        self._pad()
        self._content += data
        self._pad()

    def _pad(self):
        self._content += bytes(-len(self._content) % 4)

    def finished(self):
        self.add("TRAILER!!!", 0)
        return bytes(self._content)


def _read(path):
    with open(path, "rb") as file:
        return file.read()
