"""Ctrl-C at any point of the road: the call in hand returns, everything before it is undone."""
import os
import signal

import kernel
from road_case import RoadCase

CLONE_TRIED, ATTACHED = "ioctl:40049409:1", "ioctl:4c0a:1"
FREEZE, THAW, MOUNT = "spawn:xfs_freeze -f:1", "spawn:xfs_freeze -u:1", "spawn:/bin/mount:1"


class InterruptionTest(RoadCase):
    types = ("xfs", "ext3")

    def interrupt(self, at, fs_type="xfs", number=signal.SIGINT, to_group=False):
        disk = self.room.disk(fs_type)
        process, go_on = self.start_paused(at, "--json", "snapshot", disk.point)
        if to_group:  # as a terminal does it: everything in the foreground gets it
            os.killpg(process.pid, number)
        else:
            process.send_signal(number)
        answer = go_on()
        self.assert_code(answer, 1, "interrupted by")
        self.assertEqual(answer.json["undoing"], [])
        self.assertEqual(self.left_by_product(), [])
        self.assertEqual(self.known(), [])
        self.assert_works(disk)

    def test_while_the_copy_is_rehearsed(self):
        self.interrupt(CLONE_TRIED)

    def test_before_the_freeze_command_starts(self):
        self.interrupt(FREEZE)

    def test_while_frozen(self):
        self.interrupt(ATTACHED)

    def test_while_frozen_by_the_host(self):
        self.interrupt(ATTACHED, "ext3")

    def test_before_the_thaw_command_starts(self):
        self.interrupt(THAW)

    def test_before_the_copy_is_mounted(self):
        self.interrupt(MOUNT)

    def test_from_a_terminal_while_frozen(self):
        self.interrupt(ATTACHED, to_group=True)

    def test_from_a_terminal_before_the_copy_is_mounted(self):
        self.interrupt(MOUNT, to_group=True)

    def test_termination_while_frozen(self):
        self.interrupt(ATTACHED, number=signal.SIGTERM)

    def test_hang_up_before_the_copy_is_mounted(self):
        self.interrupt(MOUNT, number=signal.SIGHUP)

    def test_a_second_interruption_does_not_stop_the_undoing(self):
        disk = self.room.disk("xfs")
        process, go_on = self.start_paused("ioctl:4c01:1", "--json", "run", disk.point, "--", "true")  # detaching
        process.send_signal(signal.SIGINT)
        process.send_signal(signal.SIGTERM)
        self.assert_code(go_on(), 0)
        self.assertEqual(self.known(), [])
        self.assertEqual(len(kernel.loop_devices(containing=self.room.folder)), 2)
