"""A copy is read-only and no more dangerous than its origin."""
import errno
import os
import shutil
import stat
import subprocess

import kernel
from road_case import RoadCase, read, write

NOBODY = 65534


class CopySafetyTest(RoadCase):
    types = ("xfs", "ext4")

    def setUp(self):
        super().setUp()
        os.chmod(self.room.folder, 0o711)  # somebody else than root goes through it here

    def dangerous(self, fs_type, options):
        """A disk with a program that becomes root, and a device; mounted with these options. And its copy's folder."""
        disk = self.room.disk(fs_type, options=options)
        shutil.copy("/usr/bin/id", disk.at("id"))
        os.chmod(disk.at("id"), 0o4755)
        os.mknod(disk.at("null"), stat.S_IFCHR | 0o666, os.makedev(1, 3))
        made = self.snapshot(disk)
        self.addCleanup(self.tarnctl.run, "delete", made["id"])
        return made

    def become_root(self, made):
        """The user that the setuid program runs as when nobody in particular starts it."""
        program = os.path.join(made["alternate"], "id")
        return subprocess.run([program, "-u"], user=NOBODY, group=NOBODY, extra_groups=[], check=True,
                              stdout=subprocess.PIPE, text=True).stdout.strip()

    def check(self, fs_type, options, *, is_root, has_device):
        made = self.dangerous(fs_type, options)
        self.assertEqual(self.become_root(made) == "0", is_root)
        device = os.path.join(made["alternate"], "null")
        if has_device:
            self.assertEqual(read(device), b"")
        else:
            self.assertRaises(PermissionError, read, device)
        options_of_copy = kernel.mounts(below=made["alternate"])[0].options
        self.assertEqual(options_of_copy & {"nosuid", "nodev", "noexec"}, set(filter(None, options.split(","))))
        self.delete(made)

    def test_an_origin_without_restrictions_gives_a_copy_without(self):
        self.check("xfs", "", is_root=True, has_device=True)

    def test_nosuid_holds_on_the_copy(self):
        self.check("xfs", "nosuid", is_root=False, has_device=True)

    def test_nodev_holds_on_the_copy(self):
        self.check("ext4", "nodev", is_root=True, has_device=False)

    def test_nosuid_and_nodev_hold_together(self):
        self.check("ext4", "nosuid,nodev", is_root=False, has_device=False)

    def test_noexec_holds_on_the_copy(self):
        made = self.dangerous("ext4", "nosuid,nodev,noexec")
        self.assertRaises(PermissionError, self.become_root, made)
        self.assertRaises(PermissionError, subprocess.run, [os.path.join(made["alternate"], "id")], check=False)
        self.delete(made)

    def test_every_kind_of_write_says_read_only(self):
        for fs_type in self.types:
            disk = self.room.disk(fs_type, fs_type)
            write(disk.at("file"))
            made = self.snapshot(disk)
            file, new = os.path.join(made["alternate"], "file"), os.path.join(made["alternate"], "new")
            for act in (lambda: write(file), lambda: write(new), lambda: os.mkdir(new), lambda: os.unlink(file),
                        lambda: os.rename(file, new), lambda: os.chmod(file, 0o777), lambda: os.truncate(file, 0),
                        lambda: os.utime(file), lambda: os.symlink("x", new), lambda: os.link(file, new)):
                with self.assertRaises(OSError) as refused:
                    act()
                self.assertEqual(refused.exception.errno, errno.EROFS)
            self.assertEqual(read(file), b"content")
            self.delete(made)

    def test_the_snapshot_file_has_the_owner_and_mode_of_the_image(self):
        disk = self.room.disk("xfs")
        os.chown(disk.image, NOBODY, NOBODY)
        os.chmod(disk.image, 0o640)
        made = self.snapshot(disk)
        found = os.stat(f"{disk.image}.tarnfi-{made['id']}")
        self.assertEqual((found.st_uid, found.st_gid, stat.S_IMODE(found.st_mode)), (NOBODY, NOBODY, 0o640))
        self.delete(made)

    def test_nobody_may_write_to_the_mount_point_it_makes(self):
        disk = self.room.disk("xfs")
        made = self.snapshot(disk, umask=0)
        kernel.umount(made["alternate"])
        self.assertEqual(stat.S_IMODE(os.stat(made["alternate"]).st_mode) & 0o022, 0)
        self.delete(made)
