"""Every way in which a command of the road can end: nothing stays frozen, a failed road leaves nothing."""
import errno
import os
import subprocess

import kernel
from fault_case import FaultCase

_FREEZE = "/usr/sbin/xfs_freeze"
_WHEN = 'if [ "$1" = %s ]; then %s; else exec $REAL "$@"; fi'


def freezing(script):
    return _WHEN % ("-f", script)


def thawing(script):
    return _WHEN % ("-u", script)


class CommandOutcomeTest(FaultCase):
    types = ("xfs",)

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("xfs")

    def refused(self, *parts, code=1):
        """A snapshot now fails with these words in its report, and is undone whole."""
        answer = self.tarnctl.json("snapshot", self.disk.point)
        self.assertEqual(answer.code, code, answer)
        for part in parts:
            self.assertIn(part, answer.out)
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assert_not_frozen(self.disk, seconds=1)
        self.assertEqual(kernel.thaw(self.disk.point), errno.EINVAL)
        self.assert_nothing_left()

    def works_again(self, command):
        self.restore(command)
        self.assert_works(self.disk)

    # -- freeze --------------------------------------------------------------------------------------------------

    def test_freeze_command_fails(self):
        self.replace(_FREEZE, freezing("echo no such luck; exit 1"))
        self.refused("no such luck")
        self.works_again(_FREEZE)

    def test_freeze_command_cannot_be_executed(self):
        os.chmod(self.replace(_FREEZE, ""), 0o644)
        self.refused("xfs_freeze")
        self.works_again(_FREEZE)

    def test_freeze_command_is_missing(self):
        programs = self.room.at("sbin")
        os.mkdir(programs)
        for name in os.listdir("/usr/sbin"):
            if name != "xfs_freeze":
                os.symlink(f"{self.room.at('real-sbin')}/{name}", f"{programs}/{name}")
        os.mkdir(self.room.at("real-sbin"))
        kernel.mount("/usr/sbin", self.room.at("real-sbin"), options="bind")
        self.addCleanup(self.restore, self.room.at("real-sbin"))
        kernel.mount(programs, "/usr/sbin", options="bind")
        self.addCleanup(self.restore, "/usr/sbin")
        answer = self.tarnctl.json("snapshot", self.disk.point)
        self.restore("/usr/sbin")
        self.restore(self.room.at("real-sbin"))
        self.assertEqual(answer.code, 1, answer)
        self.assertIn("xfs_freeze", answer.out)
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assert_not_frozen(self.disk, seconds=1)
        self.assert_nothing_left()

    def test_freeze_command_freezes_and_is_killed(self):
        self.replace(_FREEZE, freezing('$REAL "$@"; kill -9 $$'))
        self.refused("xfs_freeze")
        self.works_again(_FREEZE)

    def test_freeze_command_is_killed_and_its_freeze_comes_late(self):
        self.replace(_FREEZE, freezing('(sleep 0.5; exec $REAL "$@") >/dev/null 2>&1 & kill -9 $$'))
        self.refused("xfs_freeze")
        self.works_again(_FREEZE)

    def left_frozen(self, *words):
        """A snapshot whose freeze command freezes and fails; answers its failure when the command that it names has thawed."""
        self.replace(_FREEZE, freezing('$REAL "$@"; echo tired; exit 3'))
        answer = self.tarnctl.json("snapshot", *words, self.disk.point)
        self.assertEqual(kernel.freeze(self.disk.point), errno.EBUSY, "it was thawed")
        self.assertEqual(answer.code, 8, answer)
        self.assertIn("cannot be told", answer.json["cause"])
        self.assertIn("tired", answer.json["trace"][0])
        command = answer.json["cause"].partition("thaw it with: ")[2]
        self.assertEqual(command, f"{_FREEZE} -u {self.disk.point}")
        self.restore(_FREEZE)
        subprocess.run(command.split(), check=True)
        self.assertEqual(kernel.thaw(self.disk.point), errno.EINVAL)
        return answer.json

    def test_freeze_command_freezes_and_fails(self):
        self.assertEqual(self.left_frozen()["undoing"], [])
        self.assert_nothing_left()
        self.assert_works(self.disk)

    def test_freeze_command_freezes_and_fails_with_sync(self):
        def is_sync():
            return any(disk.point == self.disk.point and "sync" in disk.super_options for disk in kernel.mounts())

        (beside,) = self.left_frozen("--sync")["undoing"]  # what is frozen cannot be remounted
        self.assertIn("still is mounted with sync", beside["cause"])
        self.assertTrue(is_sync())
        self.delete_all()
        self.assertFalse(is_sync())
        self.assert_nothing_left()

    def test_freeze_command_reports_success_without_freezing(self):
        self.replace(_FREEZE, freezing("exit 0"))
        self.refused("is not frozen")
        self.works_again(_FREEZE)

    def test_freeze_command_freezes_something_else(self):
        other = self.room.disk("xfs", "other")
        self.replace(_FREEZE, freezing(f"$REAL -f {other.point}; exit 0"))
        self.addCleanup(kernel.thaw, other.point)
        answer = self.tarnctl.json("snapshot", self.disk.point)
        self.assertEqual(kernel.thaw(other.point), 0)
        self.assertEqual(answer.code, 1, answer)
        self.assertIn("is not frozen", answer.out)
        self.assert_nothing_left()

    # -- thaw: the host thaws by itself --------------------------------------------------------------------------

    def thawed_all_the_same(self, script):
        self.replace(_FREEZE, thawing(script))
        made = self.snapshot(self.disk)
        self.assertEqual(made["consistency"], "frozen")
        self.assert_not_frozen(self.disk, seconds=1)
        self.delete(made)

    def test_thaw_command_fails(self):
        self.thawed_all_the_same("exit 1")

    def test_thaw_command_reports_success_without_thawing(self):
        self.thawed_all_the_same("exit 0")

    def test_thaw_command_is_killed(self):
        self.thawed_all_the_same("kill -9 $$")

    # -- the others ----------------------------------------------------------------------------------------------

    def fails(self, command, script, *parts):
        self.replace(command, script)
        self.refused(*parts)
        self.works_again(command)

    def test_mkdir_fails(self):
        self.fails("/bin/mkdir", "echo full up; exit 1", "full up")

    def test_mkdir_makes_it_and_fails(self):
        self.fails("/bin/mkdir", '$REAL "$@"; exit 1')

    def test_mount_fails(self):
        self.fails("/bin/mount", "echo wrong type; exit 32", "wrong type")

    def test_mount_is_killed_before_its_work(self):
        self.fails("/bin/mount", "kill -9 $$")

    def test_mount_mounts_and_fails(self):
        self.fails("/bin/mount", '$REAL "$@"; exit 32')

    def test_mount_mounts_and_is_killed(self):
        self.fails("/bin/mount", '$REAL "$@"; kill -9 $$')

    def test_mount_reports_success_without_mounting(self):
        self.fails("/bin/mount", "exit 0")

    def kept_by(self, command, script):
        """A delete that fails with this command; the next one finishes it."""
        made = self.snapshot(self.disk)
        self.replace(command, script)
        answer = self.tarnctl.json("delete", made["id"])
        self.restore(command)
        self.assertIn(answer.code, (1, 5), answer)
        self.delete(made)
        self.assert_nothing_left()

    def test_umount_fails_at_delete(self):
        self.kept_by("/bin/umount", "exit 1")

    def test_umount_reports_success_without_unmounting_at_delete(self):
        self.kept_by("/bin/umount", "exit 0")

    def test_rmdir_fails_at_delete(self):
        made = self.snapshot(self.disk)
        self.replace("/bin/rmdir", "exit 1")
        answer = self.tarnctl.json("delete", made["id"])
        self.restore("/bin/rmdir")
        self.assertIn(answer.code, (0, 1), answer)
        self.delete(made)
        self.assert_nothing_left()

    def test_umount_fails_while_a_road_is_undone(self):
        self.replace("/bin/mount", '$REAL "$@"; exit 32')
        self.replace("/bin/umount", "exit 1")
        answer = self.tarnctl.json("snapshot", self.disk.point)
        self.assertEqual(answer.code, 1, answer)
        self.assertIn("mount the snapshot", answer.json["operation"])
        self.assertEqual([one["operation"] for one in answer.json["undoing"]], ["unmount the snapshot"], answer)
        self.restore("/bin/umount")
        self.delete_all()
        self.assert_nothing_left()
