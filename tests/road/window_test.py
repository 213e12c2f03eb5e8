"""The freeze window, looked at from outside while the program stands in the middle of it."""
import errno
import os
import subprocess
import sys
import time

import kernel
from road_case import RoadCase

ATTACH = "ioctl:4c0a:1"  # the copy is attached to its loop device: frozen since a while, not thawed yet
_WRITE = "import os, sys; f = os.open(sys.argv[1], os.O_WRONLY | os.O_CREAT); os.write(f, b'x'); os.fsync(f)"


class WindowTest(RoadCase):
    types = ("xfs", "ext2", "ext3", "ext4")

    def look(self, fs_type):
        disk = self.room.disk(fs_type)
        _, go_on = self.start_paused(ATTACH, "--json", "snapshot", disk.point)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY)
        writer = self.start(sys.executable, "-c", _WRITE, disk.at("late"))
        with self.assertRaises(subprocess.TimeoutExpired):
            writer.wait(0.4)
        with open(f"/proc/{writer.pid}/stat", encoding="ascii") as file:
            self.assertEqual(file.read().rpartition(") ")[2][0], "D", "the writer waits, but not in the kernel")
        answer = go_on()
        self.assert_code(answer, 0)
        self.assertEqual(writer.wait(10), 0, "the write does not complete after the thaw")
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assertFalse(os.path.exists(os.path.join(answer.json["alternate"], "late")))
        self.assertGreater(answer.json["thawedAtNs"] - answer.json["frozenAtNs"], 400_000_000)
        self.assertGreaterEqual(answer.json["windowNs"], answer.json["thawedAtNs"] - answer.json["frozenAtNs"])
        self.assertLess(answer.json["frozenAtNs"], time.monotonic_ns())
        self.delete(answer.json)

    def test_xfs_stands_still(self):
        self.look("xfs")

    def test_ext2_stands_still(self):
        self.look("ext2")

    def test_ext3_stands_still(self):
        self.look("ext3")

    def test_ext4_stands_still(self):
        self.look("ext4")

    def test_a_foreign_thaw_breaks_the_window_and_is_reported(self):
        for fs_type in ("xfs", "ext4"):
            disk = self.room.disk(fs_type, fs_type)
            _, go_on = self.start_paused(ATTACH, "--json", "snapshot", disk.point)
            self.assertEqual(kernel.thaw(disk.point), 0)
            answer = go_on()
            self.assert_code(answer, 1, "somebody thawed")
            self.assertEqual(answer.json["consistency"], "broken")
            broken = self.known()
            self.assertEqual([one["consistency"] for one in broken], ["broken"])
            self.delete(broken[0])

    def test_a_command_is_not_run_on_a_broken_snapshot(self):
        disk = self.room.disk("ext4")
        _, go_on = self.start_paused(ATTACH, "run", disk.point, "--", "touch", self.room.at("ran"))
        self.assertEqual(kernel.thaw(disk.point), 0)
        self.assert_code(go_on(), 1, "somebody thawed")
        self.assertFalse(os.path.exists(self.room.at("ran")))
        self.assertEqual(self.known(), [])
