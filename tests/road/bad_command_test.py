"""Commands of the plug-in that are missing, fail or lie."""
import contextlib
import errno
import os

import kernel
from road_case import RoadCase, write

FAILED = 1
FREEZE = "/usr/sbin/xfs_freeze"


class BadCommandTest(RoadCase):
    types = ("xfs", "ext4")

    @contextlib.contextmanager
    def instead(self, program, script):
        """For a while `program` is this shell script."""
        replacement = self.room.at("replacement")
        write(replacement, b"#!/bin/sh\n" + script.encode())
        os.chmod(replacement, 0o755)
        kernel.mount(replacement, os.path.realpath(program), options="bind")
        try:
            yield
        finally:
            kernel.umount(os.path.realpath(program))
            os.unlink(replacement)

    @contextlib.contextmanager
    def without(self, program):
        """For a while there is no such program on this machine."""
        with open("/proc/filesystems", encoding="ascii") as file:
            if "overlay" not in file.read().split():
                self.skipTest("needs overlayfs, to hide a program")
        folder = os.path.dirname(os.path.realpath(program))
        layer = self.room.at("layer")
        os.mkdir(layer)
        kernel.mount("tarnfi-test", layer, "tmpfs")
        for name in ("upper", "work"):
            os.mkdir(os.path.join(layer, name))
        os.mknod(os.path.join(layer, "upper", os.path.basename(program)), 0o020000, 0)  # how overlayfs marks "deleted"
        kernel.mount("overlay", folder, "overlay", f"lowerdir={folder},upperdir={layer}/upper,workdir={layer}/work")
        try:
            self.assertFalse(os.path.exists(program))
            yield
        finally:
            kernel.umount(folder)
            kernel.umount(layer)
            os.rmdir(layer)

    def assert_rolled_back(self, disk):
        self.assertEqual(self.left_by_product(), [])
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assertEqual(self.known(), [])
        self.assert_works(disk)

    def test_the_freeze_command_is_missing(self):
        disk = self.room.disk("xfs")
        with self.without(FREEZE):
            answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, "xfs_freeze")
        self.assertEqual(answer.json["undoing"], [])
        self.assert_rolled_back(disk)

    def test_the_freeze_command_fails(self):
        disk = self.room.disk("xfs")
        with self.instead(FREEZE, "echo cannot today; exit 1"):
            answer = self.tarnctl.json("snapshot", disk.point)
            text = self.tarnctl.run("snapshot", disk.point)
        self.assert_code(answer, FAILED)
        self.assertEqual((answer.json["operation"], answer.json["subject"]), ("freeze", disk.point))
        self.assertIn("tarnfi answered 6", answer.json["cause"])
        (message,) = answer.json["messages"]
        self.assertIn("ZFI_EXEC_PIPE_CMD_FAILED", message)
        self.assertEqual(answer.json["trace"], [f"TARN::quiesce - command [{FREEZE} -f  {disk.point}] failed with message "
                                                "'cannot today'."])
        self.assert_code(text, FAILED)
        self.assertTrue(text.err.startswith(f"tarnctl: freeze: {disk.point}: tarnfi answered 6"), text.err)
        self.assertIn("\n    message: " + message, text.err)
        self.assertIn("\n    trace: " + answer.json["trace"][0], text.err)
        self.assert_rolled_back(disk)

    def test_the_freeze_command_reports_success_and_does_nothing(self):
        disk = self.room.disk("xfs")
        with self.instead(FREEZE, "exit 0"):
            answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, "is not frozen")
        self.assert_rolled_back(disk)

    def test_the_freeze_command_is_killed_after_it_froze(self):
        disk = self.room.disk("xfs")
        with self.instead(FREEZE, 'if [ "$1" = -f ]; then fsfreeze -f "$2"; kill -KILL $$; fi; exec fsfreeze "$@"'):
            answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, FAILED)
        self.assert_rolled_back(disk)

    def test_the_thaw_command_fails(self):
        disk = self.room.disk("xfs")
        with self.instead(FREEZE, '[ "$1" = -u ] && exit 1; exec fsfreeze "$@"'):
            answer = self.tarnctl.json("snapshot", disk.point)
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL, "it is still frozen")
        self.assertIn(answer.code, (0, FAILED), answer)
        for known in self.known():
            self.delete(known)
        self.assert_rolled_back(disk)

    def test_the_mount_command_is_missing(self):
        for fs_type in self.types:
            disk = self.room.disk(fs_type, fs_type)
            with self.without("/bin/mount"):
                answer = self.tarnctl.json("snapshot", disk.point)
            self.assert_code(answer, FAILED, "/bin/mount")
            self.assertEqual(answer.json["undoing"], [])
            self.assert_rolled_back(disk)

    def test_the_mount_command_fails(self):
        disk = self.room.disk("ext4")
        with self.instead("/bin/mount", "echo no mount today; exit 32"):
            answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, "no mount today")
        self.assert_rolled_back(disk)

    def test_the_unmount_command_is_missing_when_deleting(self):
        disk = self.room.disk("ext4")
        made = self.snapshot(disk)
        with self.without("/bin/umount"):
            answer = self.tarnctl.json("delete", made["id"])
        self.assert_code(answer, FAILED, "umount")
        self.assertEqual(len(self.known()), 1)
        self.assertTrue(os.path.ismount(made["alternate"]))
        self.delete(made)
