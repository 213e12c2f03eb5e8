"""The kernel refuses to thaw: the program says that the file system may still be frozen, and names the command that thaws it."""
import errno
import os
import re
import shlex
import subprocess

import kernel
from fault_case import FaultCase

_MAY_BE_FROZEN = 8
_FITHAW = "c0045878"
_COMMANDS = {"xfs": "/usr/sbin/xfs_freeze", "ext4": "/usr/sbin/fsfreeze"}


class RefusedThawTest(FaultCase):
    types = ("xfs", "ext4")

    def refused(self, disk, *words, also_guard=False):
        """A snapshot that cannot thaw. Answers its report and the command that it names."""
        self.replace("/usr/sbin/xfs_freeze", 'if [ "$1" = -u ]; then echo cannot; exit 1; fi; exec $REAL "$@"')
        environment = {"LD_PRELOAD": os.path.join(self.build, "tests/refuse_ioctl.so"), "TARNFI_TEST_REFUSE": _FITHAW}
        if also_guard:
            environment["TARNFI_TEST_REFUSE_GUARD"] = "1"
        answer = self.tarnctl.run(*words, "snapshot", disk.point, environment=environment)
        self.restore("/usr/sbin/xfs_freeze")
        self.assertEqual(answer.code, _MAY_BE_FROZEN, answer)
        named = set(re.findall(r"may still be frozen\. Thaw it with: ([^\"\n]+)", answer.out + answer.err))
        self.assertEqual(named, {f"{_COMMANDS[disk.type]} -u {disk.point}"}, answer)
        return answer, shlex.split(named.pop())

    def stays_frozen(self, fs_type):
        disk = self.room.disk(fs_type)
        answer, command = self.refused(disk, "--json", also_guard=True)
        self.assertEqual((answer.json["exitCode"], answer.json["subject"]), (_MAY_BE_FROZEN, disk.point), answer)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY, "it was not frozen any more")
        self.assertEqual(len(self.known()), 1, "what thaws it is not known any more")
        subprocess.run(command, check=True)
        self.assert_not_frozen(disk)
        self.delete_all()
        self.assert_nothing_left()
        self.assert_works(disk)

    def test_the_command_that_is_named_thaws_it_xfs(self):
        self.stays_frozen("xfs")

    def test_the_command_that_is_named_thaws_it_ext4(self):
        self.stays_frozen("ext4")

    def test_delete_thaws_it_as_well(self):
        disk = self.room.disk("ext4")
        self.refused(disk, also_guard=True)
        self.assertEqual(kernel.freeze(disk.point), errno.EBUSY)
        self.delete_all()
        self.assert_not_frozen(disk)
        self.assert_nothing_left()

    def test_the_guard_thaws_where_the_program_cannot(self):
        for fs_type in self.types:
            disk = self.room.disk(fs_type, fs_type)
            self.refused(disk)
            self.assert_not_frozen(disk)
            self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
            self.delete_all()
            self.assert_nothing_left()
