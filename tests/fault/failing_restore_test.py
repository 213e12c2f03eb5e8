"""A step of a restore fails: before the first byte the origin is mounted again as it was, after it it is whole or waits
unmounted for the same command; what failed is told."""
import os

import kernel
from fault_case import FaultCase
from kill_restore_test import points
from restore_case import FILES, SPOILED, mount_line
from road_case import read, write

_LUCK = "echo no such luck >&2; exit 1"


class FailingRestoreTest(FaultCase):
    types = ("ext4",)
    needs_strace = True

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("ext4")
        write(self.disk.at("old"), FILES["old"])
        self.made = self.snapshot(self.disk)
        self.spoil()

    def tearDown(self):
        if getattr(self, "made", None) is not None:
            self.delete_all()
            self.assert_nothing_left()
        super().tearDown()

    def spoil(self):
        write(self.disk.at("old"), SPOILED)
        os.sync()

    def fails(self, answer, *parts, code=1):
        self.assert_code(answer, code, *parts)
        self.assertFalse(answer.json["ok"])
        return answer

    def run_restore(self):
        return self.tarnctl.json("restore", self.made["id"])

    def run_failing(self, place, call, error, text=""):
        """The first such call in this place fails."""
        _, calls = self.trace("--json", "restore", self.made["id"])
        self.spoil()
        point = next(point for point in points(calls) if point.place == place and point.call == call and text in point.text)
        return self.with_fault(call, point.number, f"error={error}", "--json", "restore", self.made["id"])

    def assert_taken_back(self):
        self.assertEqual(read(self.disk.at("old")), SPOILED)
        self.assertEqual(self.steps_of(self.made["id"])["disable"], "undone")

    def assert_comes_to_its_end(self):
        """Not mounted now; the same command mounts it whole."""
        self.assertEqual(mount_line(self.disk.point), [])
        answer = self.run_restore()
        self.assert_code(answer, 0)
        self.assertTrue(answer.json["wasUnfinished"])
        self.assertEqual(read(self.disk.at("old")), FILES["old"])

    def test_the_unmount_fails(self):
        before = mount_line(self.disk.point)
        self.replace("/bin/umount", _LUCK)
        answer = self.run_restore()
        self.restore("/bin/umount")
        self.fails(answer, "Command [/bin/umount")
        self.assertEqual(mount_line(self.disk.point), before)
        self.assert_taken_back()

    def test_the_mount_fails(self):
        self.replace("/bin/mount", _LUCK)
        answer = self.run_restore()
        self.restore("/bin/mount")
        self.fails(answer, "no such luck", "mount it with: mount -o", f"tarnctl restore {self.made['id']}")
        self.assert_comes_to_its_end()

    def test_somebody_takes_the_device_meanwhile(self):
        other = self.room.at("other")
        os.mkdir(other)
        self.replace("/bin/umount", f'$REAL "$@" && exec /bin/mount {self.disk.device} {other}')
        answer = self.run_restore()
        self.restore("/bin/umount")
        self.fails(answer, f"is mounted at {other}", code=5)
        (undoing,) = answer.json["undoing"]
        self.assertIn("mount it with: mount -o", undoing["cause"])
        self.assertEqual(read(os.path.join(other, "old")), SPOILED)
        kernel.umount(other)
        self.delete_all()
        self.assertEqual(read(self.disk.at("old")), SPOILED)

    def test_the_intention_cannot_be_noted(self):
        self.fails(self.run_failing("unmounted", "pwrite64", "ENOSPC"), "there is no space left")
        self.assert_taken_back()

    def test_the_file_cannot_be_flushed(self):
        self.fails(self.run_failing("writing", "fsync", "EIO", self.disk.image + ">"), "is half restored and stays unmounted")
        self.assert_comes_to_its_end()

    def test_that_it_is_written_cannot_be_noted(self):
        self.fails(self.run_failing("written", "pwrite64", "ENOSPC"), "is restored, which its record does not say")
        self.assert_comes_to_its_end()
