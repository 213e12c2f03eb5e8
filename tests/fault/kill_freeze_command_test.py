"""kill -9 of the program while its freeze or thaw command is at work: the command kills whoever started it, before,
during and after its own work."""
import time

from fault_case import FaultCase

_FREEZING = 'if [ "$1" = -f ]; then\n%s\nelse exec $REAL "$@"\nfi'
_THAWING = 'if [ "$1" = -u ]; then\n%s\nelse exec $REAL "$@"\nfi'


class KillFreezeCommandTest(FaultCase):
    types = ("xfs",)
    rounds = 3

    def killed(self, script):
        disk = self.room.disk("xfs")
        self.replace("/usr/sbin/xfs_freeze", script)
        for _ in range(self.rounds):
            answer = self.tarnctl.run("snapshot", disk.point)
            self.assertEqual(answer.code, -9, answer)
            self.await_orphans()
            self.assert_not_frozen(disk)
            known = self.known()
            self.assertEqual(len(known), 1)
            self.assertEqual(self.steps_of(known[0]["id"])["freeze"], "intended")
            self.delete_patiently(known[0]["id"])
            self.delete_patiently(known[0]["id"])
            self.assert_nothing_left()
        self.restore("/usr/sbin/xfs_freeze")
        self.assert_works(disk)

    def test_before_the_freeze(self):
        self.killed(_FREEZING % 'kill -9 $PPID; exec $REAL "$@"')

    def test_long_before_a_freeze_that_still_comes(self):
        self.killed(_FREEZING % 'kill -9 $PPID; sleep 0.7; exec $REAL "$@"')

    def test_between_start_and_end_of_the_freeze(self):
        self.killed(_FREEZING % '$REAL "$@" &\nsleep 0.02; kill -9 $PPID; wait')

    def test_after_the_freeze(self):
        self.killed(_FREEZING % '$REAL "$@"; kill -9 $PPID')

    def test_instead_of_the_freeze(self):
        self.killed(_FREEZING % "kill -9 $PPID")

    def test_before_the_thaw(self):
        self.killed(_THAWING % 'kill -9 $PPID; exec $REAL "$@"')

    def test_instead_of_the_thaw(self):
        self.killed(_THAWING % "kill -9 $PPID")

    def test_after_the_thaw(self):
        self.killed(_THAWING % '$REAL "$@"; kill -9 $PPID')

    def test_delete_waits_for_a_freeze_that_is_still_to_come(self):
        disk = self.room.disk("xfs")
        self.replace("/usr/sbin/xfs_freeze", _FREEZING % 'kill -9 $PPID; sleep 1; exec $REAL "$@"')
        self.assertEqual(self.tarnctl.run("snapshot", disk.point).code, -9)
        start = time.monotonic()
        self.delete_all()
        self.assertGreater(time.monotonic() - start, 0.5)
        self.assert_not_frozen(disk)
        self.assert_nothing_left()

    def test_delete_waits_for_a_mount_that_is_still_to_come(self):
        disk = self.room.disk("xfs")
        self.replace("/bin/mount", 'kill -9 $PPID; sleep 1; exec $REAL "$@"')
        self.assertEqual(self.tarnctl.run("snapshot", disk.point).code, -9)
        start = time.monotonic()
        self.delete_all()
        self.assertGreater(time.monotonic() - start, 0.5)
        self.assert_nothing_left()

    def test_the_guard_of_a_killed_road_does_not_end_the_freeze_of_the_next_one(self):
        disk = self.room.disk("xfs")
        self.replace("/usr/sbin/xfs_freeze", _FREEZING % "kill -9 $PPID")
        self.assertEqual(self.tarnctl.run("snapshot", disk.point).code, -9)
        self.restore("/usr/sbin/xfs_freeze")
        self.delete_all()
        self.replace("/usr/sbin/xfs_freeze", _FREEZING % '$REAL "$@"; sleep 0.3')
        self.delete(self.snapshot(disk))
