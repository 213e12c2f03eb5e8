"""A program that hangs in the window, and a guard that is killed."""
import errno
import os
import select
import signal

import kernel
from fault_case import FaultCase

_IN_THE_WINDOW = "ioctl:4c0a:1"  # the copy is being attached: the file system is frozen
_BEFORE_THE_FREEZE = {"xfs": "spawn:xfs_freeze -f:1", "ext4": "ioctl:c0045877:1"}
_BUDGET_MS = 500


class WatchdogTest(FaultCase):
    types = ("xfs", "ext4")

    def hang(self, fs_type):
        disk = self.room.disk(fs_type)
        process, go_on = self.start_paused(_IN_THE_WINDOW, "--json", "--freeze-budget", str(_BUDGET_MS), "snapshot",
                                           disk.point)
        process.send_signal(signal.SIGSTOP)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY)
        self.assert_not_frozen(disk, seconds=_BUDGET_MS / 1000 + 1)
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        process.send_signal(signal.SIGCONT)
        answer = go_on()
        self.assertEqual(answer.code, 1, answer)
        known = self.known()
        self.assertEqual([one["consistency"] for one in known if one["state"] == "ready"],
                         ["broken"] * len(known), known)
        self.delete_all()
        self.assert_nothing_left()
        self.assert_works(disk)

    def test_a_hanging_host_is_thawed_at_the_deadline_xfs(self):
        self.hang("xfs")

    def test_a_hanging_host_is_thawed_at_the_deadline_ext4(self):
        self.hang("ext4")

    def test_a_host_that_is_stopped_for_good_is_thawed_at_the_deadline_and_can_be_taken_apart(self):
        disk = self.room.disk("ext4")
        process, _ = self.start_paused(_IN_THE_WINDOW, "--freeze-budget", str(_BUDGET_MS), "snapshot", disk.point)
        process.send_signal(signal.SIGSTOP)
        self.assert_not_frozen(disk, seconds=_BUDGET_MS / 1000 + 1)
        busy = self.tarnctl.json("delete", self.known()[0]["id"])
        self.assertEqual(busy.code, 5, busy)
        process.kill()
        process.wait()
        self.delete_all()
        self.assert_nothing_left()

    def kill_guard_of(self, process):
        """And waits for its end, which takes a while on a busy machine."""
        guard = os.pidfd_open(self.guard_of(process))
        try:
            signal.pidfd_send_signal(guard, signal.SIGKILL)
            self.assertTrue(select.select([guard], [], [], 5)[0], "the guard does not end")
        finally:
            os.close(guard)

    def lose_guard(self, fs_type, at):
        disk = self.room.disk(fs_type)
        process, go_on = self.start_paused(at, "--json", "snapshot", disk.point)
        self.kill_guard_of(process)
        answer = go_on()
        self.assertEqual(answer.code, 1, answer)
        self.assertIn("the guard", answer.json["cause"])
        self.assertIn("unguarded", answer.out)
        self.assert_not_frozen(disk, seconds=1)
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assert_nothing_left()
        self.assert_works(disk)

    def test_a_guard_lost_in_the_window_ends_the_road_xfs(self):
        self.lose_guard("xfs", _IN_THE_WINDOW)

    def test_a_guard_lost_in_the_window_ends_the_road_ext4(self):
        self.lose_guard("ext4", _IN_THE_WINDOW)

    def test_a_guard_lost_before_the_freeze_ends_the_road_xfs(self):
        self.lose_guard("xfs", _BEFORE_THE_FREEZE["xfs"])

    def test_a_guard_lost_before_the_freeze_ends_the_road_ext4(self):
        self.lose_guard("ext4", _BEFORE_THE_FREEZE["ext4"])
