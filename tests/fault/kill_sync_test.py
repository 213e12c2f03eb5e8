"""kill -9 of a snapshot with --sync: after delete the origin is mounted as it was before, never with sync."""
import os

import kernel
import kill_points
from fault_case import FaultCase

_ROUNDS = int(os.environ.get("TARNFI_FAULT_SYNC_ROUNDS", "12"))
_IS_SYNC = 'case "$2" in remount,sync*) %s;; esac; exec $REAL "$@"'
_IS_BACK = 'case "$2" in remount,sync*) exec $REAL "$@";; remount*) %s;; esac; exec $REAL "$@"'


class KillSyncTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True

    def setUp(self):
        super().setUp()
        self.disks = [self.room.disk(fs_type, fs_type, options="noatime") for fs_type in self.types]
        self.before = {disk: self.options(disk) for disk in self.disks}

    @staticmethod
    def options(disk):
        with open("/proc/self/mounts", encoding="ascii") as table:
            (line,) = (line.split() for line in table if line.split()[1] == disk.point)
        return line[3].split(",")

    def assert_put_back(self, disk):
        """Answers whether the kill had left it with sync."""
        self.await_orphans()
        self.assert_not_frozen(disk)
        was_sync = "sync" in self.options(disk)
        self.delete_all()
        self.assertEqual(self.options(disk), self.before[disk])
        self.assert_nothing_left()
        return was_sync

    def killed_by_mount(self, script):
        """The mount command kills whoever started it."""
        left_sync = []
        for disk in self.disks:
            self.replace("/bin/mount", script)
            answer = self.tarnctl.run("snapshot", "--sync", disk.point)
            self.assertEqual(answer.code, -9, answer)
            self.restore("/bin/mount")
            left_sync.append(self.assert_put_back(disk))
        return left_sync

    def test_before_and_instead_of_the_remount_with_sync(self):
        self.assertEqual(self.killed_by_mount(_IS_SYNC % "kill -9 $PPID; exit 1"), [False, False])

    def test_after_the_remount_with_sync(self):
        self.assertEqual(self.killed_by_mount(_IS_SYNC % '$REAL "$@"; kill -9 $PPID; exit 0'), [True, True])

    def test_instead_of_the_remount_without_sync(self):
        self.assertEqual(self.killed_by_mount(_IS_BACK % "kill -9 $PPID; exit 1"), [True, True])

    def test_after_the_remount_without_sync(self):
        self.assertEqual(self.killed_by_mount(_IS_BACK % '$REAL "$@"; kill -9 $PPID; exit 0'), [False, False])

    def test_delete_waits_for_a_remount_that_is_still_to_come(self):
        disk = self.disks[0]
        self.replace("/bin/mount", _IS_SYNC % 'kill -9 $PPID; sleep 1; exec $REAL "$@"')
        self.assertEqual(self.tarnctl.run("snapshot", "--sync", disk.point).code, -9)
        self.delete_all()
        self.assertEqual(self.options(disk), self.before[disk])
        self.await_orphans()
        self.assertEqual(self.options(disk), self.before[disk])

    def test_an_origin_that_is_unmounted_meanwhile_is_left_alone(self):
        disk = self.disks[1]
        self.replace("/bin/mount", _IS_SYNC % '$REAL "$@"; kill -9 $PPID; exit 0')
        self.assertEqual(self.tarnctl.run("snapshot", "--sync", disk.point).code, -9)
        self.await_orphans()
        kernel.umount(disk.point)
        self.delete_all()
        self.assertEqual(self.known(), [])

    def test_at_every_place_of_the_road(self):
        left_sync = 0
        for disk, by_command in zip(self.disks, (True, False)):
            answer, calls = self.trace("--json", "snapshot", "--sync", disk.point)
            self.assert_code(answer, 0)
            self.delete_all()
            for point in kill_points.spread(kill_points.points(calls, by_command), _ROUNDS):
                with self.subTest(type=disk.type, point=str(point)):
                    killed = self.with_fault(point.call, point.number, "signal=SIGKILL", "--json", "snapshot", "--sync",
                                             disk.point)
                    self.assertIn(killed.code, (-9, 0), killed)
                    left_sync += self.assert_put_back(disk)
        print(f"{2 * _ROUNDS} kills, {left_sync} of them left the origin with sync until delete")
        self.assertGreater(left_sync, 0, "no kill met it while it was sync")
