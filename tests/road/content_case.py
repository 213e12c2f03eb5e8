"""What is in a snapshot, and how its origin stands while it is made: for file systems of any type."""
import errno
import hashlib
import os
import subprocess
import sys
import time

import kernel
from records import check_records
from road_case import RoadCase, read, write

ATTACH = "ioctl:4c0a:1"  # the copy is attached to its loop device: frozen since a while, not thawed yet
# Says that it begins, then writes.
_WRITE = """
import os, sys
os.close(os.open(sys.argv[1], os.O_WRONLY | os.O_CREAT))
f = os.open(sys.argv[2], os.O_WRONLY | os.O_CREAT)
os.write(f, b'x')
os.fsync(f)
"""


def state(process):
    """The kernel's letter for it: D waits in the kernel and cannot be interrupted."""
    with open(f"/proc/{process.pid}/stat", encoding="ascii") as file:
        return file.read().rpartition(") ")[2][0]


class ContentCase(RoadCase):
    def prove(self, fs_type, *, folder=None):
        """The copy is the origin at one instant, while the origin goes on changing."""
        disk = self.room.disk(fs_type, folder=folder)
        sums = {}
        for number in range(20):
            content = os.urandom(5000 * (number + 1))
            write(disk.at(f"static/{number}"), content)
            sums[f"static/{number}"] = hashlib.sha256(content).hexdigest()
        for name in ("grows", "shrinks", "is-deleted", "is-renamed", "is-overwritten"):
            write(disk.at(name), b"before " * 1000)
        log = self.room.at("log")
        writer = self.start(os.path.join(self.build, "tests/record_writer"), disk.at("records"), log)
        time.sleep(0.3)
        made = self.snapshot(disk)
        self.assertEqual((made["type"], made["consistency"]), (fs_type, "frozen"))
        self.change(disk)
        time.sleep(0.3)
        proof = check_records(os.path.join(made["alternate"], "records"), log, made["frozenAtNs"])
        self.assertEqual(proof.faults, [])
        for name, checksum in sums.items():
            self.assertEqual(hashlib.sha256(read(os.path.join(made["alternate"], name))).hexdigest(), checksum)
        for name in ("grows", "shrinks", "is-deleted", "is-renamed", "is-overwritten"):
            self.assertEqual(read(os.path.join(made["alternate"], name)), b"before " * 1000, name)
        self.assertFalse(os.path.exists(os.path.join(made["alternate"], "is-new")))
        self.assertIsNone(writer.poll(), "the writer ended")
        writer.terminate()
        writer.wait()
        self.delete(made)

    @staticmethod
    def change(disk):
        with open(disk.at("grows"), "ab") as file:
            file.write(b"after" * 100000)
        os.truncate(disk.at("shrinks"), 3)
        os.unlink(disk.at("is-deleted"))
        os.rename(disk.at("is-renamed"), disk.at("renamed"))
        with open(disk.at("is-overwritten"), "r+b") as file:
            file.write(b"AFTER" * 100)
        write(disk.at("is-new"))
        os.sync()

    def await_condition(self, holds, otherwise, seconds=20):
        deadline = time.monotonic() + seconds
        while not holds():
            self.assertLess(time.monotonic(), deadline, otherwise)
            time.sleep(0.005)

    def assert_stands_still(self, fs_type):
        """In the window a second freeze is refused and a write waits; after it the write completes, and is not in the copy."""
        disk = self.room.disk(fs_type)
        _, go_on = self.start_paused(ATTACH, "--json", "snapshot", disk.point)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY)
        writer = self.start(sys.executable, "-c", _WRITE, self.room.at("begins"), disk.at("late"))
        self.await_condition(lambda: os.path.exists(self.room.at("begins")) and state(writer) == "D",
                             "the writer does not wait in the kernel")
        with self.assertRaises(subprocess.TimeoutExpired):
            writer.wait(0.4)
        self.assertEqual(state(writer), "D")
        answer = go_on()
        self.assert_code(answer, 0)
        self.assertEqual(writer.wait(10), 0, "the write does not complete after the thaw")
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assertFalse(os.path.exists(os.path.join(answer.json["alternate"], "late")))
        self.assertGreater(answer.json["thawedAtNs"] - answer.json["frozenAtNs"], 400_000_000)
        self.assertGreaterEqual(answer.json["windowNs"], answer.json["thawedAtNs"] - answer.json["frozenAtNs"])
        self.assertLess(answer.json["frozenAtNs"], time.monotonic_ns())
        self.delete(answer.json)

    def assert_foreign_thaw_is_reported(self, fs_type):
        """Where somebody thaws in the window, the snapshot is no picture of one instant, and says so."""
        disk = self.room.disk(fs_type, fs_type)
        _, go_on = self.start_paused(ATTACH, "--json", "snapshot", disk.point)
        self.assertEqual(kernel.thaw(disk.point), 0)
        self.assert_code(go_on(), 1, "somebody thawed")
        broken = self.known()
        self.assertEqual([one["consistency"] for one in broken], ["broken"])
        self.delete(broken[0])

    def assert_command_reads_copy(self, fs_type):
        """`run`: its command sees the copy, which is read-only, and the origin goes on."""
        disk = self.room.disk(fs_type)
        write(disk.at("file"), b"before")
        copy = self.room.at("read")
        script = f"cp {{}}/file {copy}; touch {{}}/new 2>{copy}.err && exit 9; echo after >{disk.at('file')}; cat {{}}/file"
        answer = self.tarnctl.run("run", disk.point, "--", "sh", "-c", script)
        self.assert_code(answer, 0, "before")
        self.assertEqual(read(copy), b"before")
        self.assertIn(b"Read-only file system", read(copy + ".err"))
        self.assertEqual(read(disk.at("file")), b"after\n")
        self.assertEqual(self.known(), [])

    def assert_copies_side_by_side(self, fs_type):
        """Each of two snapshots keeps its own instant."""
        disk = self.room.disk(fs_type)
        made = []
        for content in (b"first", b"second"):
            write(disk.at("file"), content)
            made.append(self.snapshot(disk))
        write(disk.at("file"), b"third")
        self.assertEqual([read(os.path.join(one["alternate"], "file")) for one in made], [b"first", b"second"])
        for one in made:
            self.delete(one)
