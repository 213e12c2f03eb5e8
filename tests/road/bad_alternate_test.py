"""Alternate names that somebody could have prepared."""
import os

from road_case import RoadCase, read, write

UNSUPPORTED = 6


class BadAlternateTest(RoadCase):
    types = ("ext4",)

    def test_a_symbolic_link(self):
        disk = self.room.disk("ext4")
        os.mkdir(self.room.at("elsewhere"))
        os.symlink(self.room.at("elsewhere"), disk.point + "_alt")
        self.assert_code(self.tarnctl.json("snapshot", disk.point), UNSUPPORTED, "is a symbolic link")
        self.assertEqual(os.listdir(self.room.at("elsewhere")), [])
        os.unlink(disk.point + "_alt")
        self.assert_works(disk)

    def test_a_dangling_symbolic_link(self):
        disk = self.room.disk("ext4")
        os.symlink(self.room.at("nowhere"), disk.point + "_alt")
        self.assert_code(self.tarnctl.json("snapshot", disk.point), UNSUPPORTED, "is a symbolic link")
        self.assertFalse(os.path.exists(self.room.at("nowhere")))
        os.unlink(disk.point + "_alt")

    def test_a_parent_that_others_may_write(self):
        os.mkdir(self.room.at("shared"))
        disk = self.room.disk("ext4", point=self.room.at("shared/data"))
        for mode in (0o777, 0o1777, 0o775):
            os.chmod(self.room.at("shared"), mode)
            self.assert_refused(disk.point, UNSUPPORTED, "others may write to " + self.room.at("shared"))
        os.chmod(self.room.at("shared"), 0o755)
        self.assert_works(disk)

    def test_a_parent_of_somebody_else(self):
        os.mkdir(self.room.at("theirs"))
        disk = self.room.disk("ext4", point=self.room.at("theirs/data"))
        os.chown(self.room.at("theirs"), 65534, 65534)
        self.assert_refused(disk.point, UNSUPPORTED, "belongs to another user")

    def test_a_directory_with_something_in_it(self):
        disk = self.room.disk("ext4")
        write(disk.point + "_alt/file")
        self.assert_code(self.tarnctl.json("snapshot", disk.point), UNSUPPORTED, "with something in it")
        self.assertEqual(read(disk.point + "_alt/file"), b"content")
        os.unlink(disk.point + "_alt/file")
        os.rmdir(disk.point + "_alt")
        self.assert_works(disk)

    def test_a_file(self):
        disk = self.room.disk("ext4")
        write(disk.point + "_alt")
        self.assert_code(self.tarnctl.json("snapshot", disk.point), UNSUPPORTED, "no directory")
        self.assertEqual(read(disk.point + "_alt"), b"content")
        os.unlink(disk.point + "_alt")
