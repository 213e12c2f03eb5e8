"""The longest limits of the road, through the whole program: ten minutes, so only where TARNFI_FAULT_LONG is set."""
import errno
import os
import time

import kernel
import tarnctl
from fault_case import FaultCase

_FREEZING_LIMIT = 60  # seconds until the guard thaws what a freeze command that does not end has frozen
_COMMAND_LIMIT = 600  # seconds until the command is ended


class LongDeadlineTest(FaultCase):
    def test_a_freeze_command_that_froze_and_hangs(self):
        if not os.environ.get("TARNFI_FAULT_LONG"):
            self.skipTest("takes ten minutes: set TARNFI_FAULT_LONG and run it by itself")
        disk = self.room.disk("xfs")
        self.replace("/usr/sbin/xfs_freeze",
                     f'if [ "$1" = -f ]; then $REAL "$@"; : > {self.room.at("frozen")}; exec sleep 100000; fi\n'
                     'exec $REAL "$@"')
        process = self.tarnctl.start("--json", "snapshot", disk.point)
        self.addCleanup(self._end, process)
        begun = self.await_frozen(disk)
        took = self.assert_not_frozen(disk, seconds=_FREEZING_LIMIT + 10)
        self.assertGreater(time.monotonic() - begun, _FREEZING_LIMIT - 5, "thawed long before the limit")
        self.assertIsNone(process.poll(), "the program did not wait for its command")
        answer = tarnctl.finish(process, _COMMAND_LIMIT + 60)
        whole = time.monotonic() - begun
        self.assertGreater(whole, _COMMAND_LIMIT - 5)
        self.assertEqual(answer.code, 1, answer)
        self.assertFalse(answer.json["ok"])
        self.assert_not_frozen(disk)
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assert_nothing_left()
        self.restore("/usr/sbin/xfs_freeze")
        self.assert_works(disk)
        print(f"a write waited {took:.1f} s, the program ended after {whole:.1f} s")

    def await_frozen(self, disk, seconds=30):
        start = time.monotonic()
        while not os.path.exists(self.room.at("frozen")):
            self.assertLess(time.monotonic() - start, seconds, "the freeze command did not run")
            time.sleep(0.01)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY)
        return start
