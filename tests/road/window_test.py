"""The freeze window, looked at from outside while the program stands in the middle of it."""
import os

import kernel
from content_case import ATTACH, ContentCase


class WindowTest(ContentCase):
    types = ("xfs", "ext2", "ext3", "ext4")

    def test_xfs_stands_still(self):
        self.assert_stands_still("xfs")

    def test_ext2_stands_still(self):
        self.assert_stands_still("ext2")

    def test_ext3_stands_still(self):
        self.assert_stands_still("ext3")

    def test_ext4_stands_still(self):
        self.assert_stands_still("ext4")

    def test_a_foreign_thaw_breaks_the_window_and_is_reported(self):
        for fs_type in ("xfs", "ext4"):
            self.assert_foreign_thaw_is_reported(fs_type)

    def test_a_command_is_not_run_on_a_broken_snapshot(self):
        disk = self.room.disk("ext4")
        _, go_on = self.start_paused(ATTACH, "run", disk.point, "--", "touch", self.room.at("ran"))
        self.assertEqual(kernel.thaw(disk.point), 0)
        self.assert_code(go_on(), 1, "somebody thawed")
        self.assertFalse(os.path.exists(self.room.at("ran")))
        self.assertEqual(self.known(), [])
