"""Alternate names that somebody could have prepared."""
import os

import kernel
from road_case import RoadCase, read, write

BUSY, UNSUPPORTED = 5, 6


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

    def test_ninety_names_that_are_taken(self):
        """The provider would go on counting without end."""
        disk = self.room.disk("ext4")
        names = [disk.point + "_alt"] + [f"{disk.point}_alt{number}" for number in range(89)]
        for name in names:
            os.mkdir(name)
            kernel.mount("none", name, "tmpfs")
        answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, BUSY, "90 snapshots of this file system are mounted already")
        self.assertEqual((answer.json["undoing"], self.known()), ([], []))
        kernel.umount(names[-1])
        made = self.snapshot(disk)
        self.assertEqual(made["alternate"], names[-1])
        self.delete(made)
        for name in names[:-1]:
            kernel.umount(name)
        for name in names:
            if os.path.exists(name):
                os.rmdir(name)
