"""Every system call of the road fails once: the road ends well or with a failure, nothing stays frozen, and nothing is
left after delete.

TARNFI_FAULT_CALLS: how many calls of each type of file system are tried (default 40, two types)."""
import collections
import os
import re
import time

import kill_points
from fault_case import FaultCase

_CALLS = int(os.environ.get("TARNFI_FAULT_CALLS", "40"))
_ERRORS = {
    "openat": "EMFILE", "pwrite64": "ENOSPC", "fdatasync": "EIO", "ioctl": "EIO", "clone3": "EAGAIN", "clone": "EAGAIN",
    "pipe2": "EMFILE", "mount_setattr": "EPERM", "ftruncate": "ENOSPC", "fchown": "EPERM", "fchmod": "EPERM",
    "syncfs": "EIO", "write": "EIO", "mkdir": "EACCES", "pidfd_open": "EMFILE", "mlock": "ENOMEM", "fsetxattr": "EIO",
    "unlink": "EIO", "read": "EIO", "pread64": "EIO",
}
_THAW = re.compile(r"Thaw it with: (/usr/sbin/\w+ -u \S+)")


def calls_to_fail(calls):
    """Name and number of every call of the road, from the opening of the catalog on."""
    seen, found, begun = collections.Counter(), [], False
    for text in calls:
        name = text.partition("(")[0]
        seen[name] += 1
        begun = begun or bool(re.match(r"openat\(.*\.db", text))
        if begun and name in _ERRORS:
            found.append((name, seen[name], text))
    return found


class FailingCallTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True
    expected_trouble = r"."  # what is failed on purpose may be told by the kernel

    def sweep(self, fs_type):
        disk = self.room.disk(fs_type)
        self.assert_works(disk)
        answer, calls = self.trace("--json", "snapshot", disk.point)
        self.assert_code(answer, 0)
        self.delete_all()
        found, ended, started = calls_to_fail(calls), collections.Counter(), time.monotonic()
        for number, (name, when, text) in enumerate(kill_points.spread(found, _CALLS)):
            with self.subTest(call=f"{name} {when}: {text}"):
                ended[self.fail_one(disk, name, when)] += 1
            if number % 100 == 99:
                self.tarnctl.catalog = self.room.at(f"catalog/{number}.db")
        print(f"{fs_type}: {_CALLS} of {len(found)} calls failed once each in {time.monotonic() - started:.0f} s; "
              f"exit codes {dict(sorted(ended.items()))}")
        self.assertGreater(ended[1], 0, "no failure of a call ever reached the program")
        self.assert_works(disk)

    def fail_one(self, disk, name, when):
        answer = self.with_fault(name, when, f"error={_ERRORS[name]}", "--json", "snapshot", disk.point)
        self.assertIn(answer.code, (0, 1, 4, 5, 6, 8), answer)
        if answer.code == 8:
            self.assertRegex(answer.out, _THAW)
        self.assert_not_frozen(disk)
        known = self.known()
        if answer.code == 0:
            self.assertEqual(len(known), 1, "it said that it was done")
        elif not known:
            self.assertEqual(self.left_by_product(), [])
        self.delete_all()
        self.assert_nothing_left()
        return answer.code

    def test_on_a_road_that_freezes_by_command(self):
        self.sweep("xfs")

    def test_on_a_road_that_freezes_by_itself(self):
        self.sweep("ext4")
