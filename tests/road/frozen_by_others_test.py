"""A file system that somebody else has frozen: reported, and left exactly so."""
import errno
import time

import kernel
from road_case import RoadCase


class FrozenByOthersTest(RoadCase):
    types = ("xfs", "ext4")

    def look(self, fs_type):
        disk = self.room.disk(fs_type)
        self.assertEqual(kernel.freeze(disk.point), 0)
        try:
            started = time.monotonic()
            answer = self.tarnctl.json("snapshot", disk.point)
            self.assert_code(answer, 5, "frozen")
            self.assertLess(time.monotonic() - started, 10)
            self.assertEqual(answer.json["undoing"], [])
            self.assertEqual(kernel.freeze(disk.point), errno.EBUSY, "it was thawed")
        finally:
            self.assertEqual(kernel.thaw(disk.point), 0)
        self.assertEqual(self.left_by_product(), [])
        self.assertEqual(self.known(), [])
        self.assert_works(disk)

    def test_xfs(self):
        self.look("xfs")

    def test_ext4(self):
        self.look("ext4")
