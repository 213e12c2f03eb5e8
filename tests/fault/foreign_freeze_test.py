"""A file system that somebody else has frozen: it stays so, and that is reported."""
import errno

import kernel
from fault_case import FaultCase


class ForeignFreezeTest(FaultCase):
    types = ("xfs", "ext3", "ext4")

    def foreign(self, fs_type):
        disk = self.room.disk(fs_type)
        self.assertEqual(kernel.freeze(disk.point), 0)
        answer = self.tarnctl.json("snapshot", disk.point)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY, "it did not stay frozen")
        self.assertEqual(kernel.thaw(disk.point), 0)
        self.assertEqual(answer.code, 5, answer)
        self.assertIn("somebody else has frozen this file system already", answer.json["cause"])
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assert_nothing_left()
        self.assert_works(disk)

    def test_stays_frozen_and_is_reported_xfs(self):
        self.foreign("xfs")

    def test_stays_frozen_and_is_reported_ext3(self):
        self.foreign("ext3")

    def test_stays_frozen_and_is_reported_ext4(self):
        self.foreign("ext4")
