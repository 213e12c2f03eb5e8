"""snapshot --sync: the origin is mounted with sync while its snapshot is made, and exactly as before afterwards."""
import contextlib
import errno
import os
import signal

import kernel
from road_case import RoadCase, read, write

FAILED, BUSY = 1, 5
_FREEZE_CALL = "ioctl:c0045877:1"
_MOUNT = "/bin/mount"


class SyncTest(RoadCase):
    types = ("xfs", "ext2", "ext3", "ext4")

    @staticmethod
    def options(disk):
        """As /proc/self/mounts has them: those of the mount and of the file system."""
        with open("/proc/self/mounts", encoding="ascii") as table:
            (line,) = (line.split() for line in table if line.split()[1] == disk.point)
        return line[3].split(",")

    @contextlib.contextmanager
    def instead(self, command, script):
        """For a while the command is this script; $REAL is the command itself."""
        real, wrapper = self.room.at("real"), self.room.at("wrapper")
        write(real, read(command))
        write(wrapper, f"#!/bin/sh\nREAL={real}\n{script}\n".encode())
        for path in (real, wrapper):
            os.chmod(path, 0o755)
        kernel.mount(wrapper, os.path.realpath(command), options="bind")
        try:
            yield
        finally:
            kernel.umount(os.path.realpath(command))

    def mount_command(self, script):
        return self.instead(_MOUNT, script)

    def snapshot_while_looking(self, disk):
        """Answers the snapshot and the options at the moment before the freeze."""
        at = "spawn:-f:1" if disk.type == "xfs" else _FREEZE_CALL
        _, go_on = self.start_paused(at, "--json", "snapshot", "--sync", disk.point)
        inside = self.options(disk)
        answer = go_on()
        self.assert_code(answer, 0)
        return answer.json, inside

    def test_each_type_is_sync_meanwhile_and_as_before_afterwards(self):
        for fs_type in self.types:
            with self.subTest(type=fs_type):
                disk = self.room.disk(fs_type, fs_type, options="noatime,nodev")
                before = self.options(disk)
                self.assertNotIn("sync", before)
                made, inside = self.snapshot_while_looking(disk)
                self.assertIn("sync", inside)
                self.assertEqual(self.options(disk), before)
                self.assertEqual((made["sync"], made["consistency"], made["warnings"]), (True, "frozen", []))
                shown = self.tarnctl.json("show", made["id"]).json
                self.assertIn({"name": "sync", "state": "undone", "detail": ""}, shown["steps"])
                self.delete(made)
                self.assertEqual(self.options(disk), before)

    def test_without_it_nothing_is_remounted(self):
        disk = self.room.disk("ext4")
        with self.mount_command('case "$2" in remount*) exit 1;; esac; exec $REAL "$@"'):
            made = self.snapshot(disk)
        self.assertFalse(made["sync"])
        self.delete(made)

    def test_what_was_sync_before_stays_so(self):
        disk = self.room.disk("ext4")
        with open(os.devnull, "wb") as nowhere:
            self.start("mount", "-o", "remount,sync", disk.point, stderr=nowhere).wait(20)
        before = self.options(disk)
        self.assertIn("sync", before)
        made, inside = self.snapshot_while_looking(disk)
        self.assertIn("sync", inside)
        self.assertEqual((self.options(disk), made["warnings"]), (before, []))
        self.delete(made)
        self.assertEqual(self.options(disk), before)

    def test_run(self):
        disk = self.room.disk("xfs")
        before = self.options(disk)
        write(disk.at("file"))
        answer = self.tarnctl.json("run", "--sync", disk.point, "--", "test", "-e", "{}/file")
        self.assert_code(answer, 0)
        self.assertTrue(answer.json["sync"])
        self.assertEqual(self.options(disk), before)

    def test_a_remount_that_fails_or_does_nothing_ends_the_snapshot(self):
        disk = self.room.disk("ext4")
        before = self.options(disk)
        for script, why in (('echo not today; exit 1', "not today"), ("exit 0", "is not mounted with sync")):
            with self.mount_command(f'case "$2" in remount,sync*) {script};; esac; exec $REAL "$@"'):
                answer = self.tarnctl.json("snapshot", "--sync", disk.point)
            self.assert_code(answer, FAILED, why)
            self.assertEqual((answer.json["undoing"], self.left_by_product(), self.known()), ([], [], []))
            self.assertEqual(self.options(disk), before)

    def test_a_failure_after_the_remount_takes_it_back(self):
        disk = self.room.disk("xfs")
        before = self.options(disk)
        script = f'grep -q " {disk.point} .*,sync," /proc/self/mounts && echo no freeze; exit 1'
        with self.instead("/usr/sbin/xfs_freeze", script):
            answer = self.tarnctl.json("snapshot", "--sync", disk.point)
        self.assert_code(answer, FAILED, "no freeze")
        self.assertEqual((answer.json["undoing"], self.left_by_product(), self.known()), ([], [], []))
        self.assertEqual(self.options(disk), before)

    def test_an_interruption_takes_it_back(self):
        disk = self.room.disk("ext4")
        before = self.options(disk)
        for at in ("spawn:remount,sync:1", "spawn:remount,rw:1"):
            process, go_on = self.start_paused(at, "--json", "snapshot", "--sync", disk.point)
            os.killpg(process.pid, signal.SIGINT)
            answer = go_on()
            self.assert_code(answer, FAILED, "interrupted by")
            self.assertEqual((answer.json["undoing"], self.left_by_product(), self.known()), ([], [], []))
            self.assertEqual(self.options(disk), before)

    def test_what_somebody_else_has_frozen_is_told_and_stays_so(self):
        disk = self.room.disk("xfs")
        before = self.options(disk)
        self.assertEqual(kernel.freeze(disk.point), 0)
        try:
            answer = self.tarnctl.json("snapshot", "--sync", disk.point)
            self.assert_code(answer, BUSY, "somebody else has frozen it")
            self.assertEqual(kernel.freeze(disk.point), errno.EBUSY, "it was thawed")
        finally:
            self.assertEqual(kernel.thaw(disk.point), 0)
        self.assertEqual((answer.json["undoing"], self.left_by_product(), self.known()), ([], [], []))
        self.assertEqual(self.options(disk), before)

    def test_caching_that_the_provider_cannot_switch_on_is_switched_on_by_the_host_and_told(self):
        disk = self.room.disk("xfs")
        before = self.options(disk)
        script = 'case "$2" in remount,sync*) exec $REAL "$@";; remount*) echo no way back; exit 1;; esac; exec $REAL "$@"'
        with self.mount_command(script):
            answer = self.tarnctl.json("snapshot", "--sync", disk.point)
        self.assert_code(answer, 0)
        warnings = "\n".join(answer.json["warnings"])
        self.assertIn("no way back", warnings)
        self.assertIn("taking that back: done", warnings)
        self.assertEqual(answer.err.count("warning: "), len(answer.json["warnings"]))
        self.assertEqual(self.options(disk), before)
        self.delete(answer.json)
