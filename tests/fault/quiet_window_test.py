"""Inside the window the program reads no mount table, writes no log and no database: shown by its system calls."""
import re

from fault_case import FaultCase

# What belongs there: the proofs and the host's own freeze and thaw, the guard's pipes, the copy and its loop device,
# the start of the thaw command, memory and clocks.
_EXPECTED = [
    r"ioctl\(",
    r"(write|read|poll|ppoll|close|pipe2)\(.*pipe:",
    r"(write|read)\(\d+<pipe:",
    r"(poll|ppoll)\(\[\{fd=\d+<(pipe:|anon_inode:\[pidfd\]|pid:)",
    r"pipe2\(",
    r'openat\(AT_FDCWD(<[^>]*>)?, "/dev/(loop-control|loop\d+|null)", ',
    r"(fchown|fchmod|fgetxattr|fsetxattr|ftruncate|newfstatat|fstat|lseek|copy_file_range)\(\d+<[^>]*\.img(\.tarnfi-[^>]*)?>",
    r"close\(",
    r"(mmap|munmap|mprotect|brk|madvise|mlock|futex|clock_nanosleep|clock_gettime|getpid|prlimit64)\(",
    r"(rt_sigprocmask|clone3|clone|vfork|pidfd_open|waitid|wait4)\(",
]


def unexpected(calls):
    return [call for call in calls if not any(re.match(pattern, call) for pattern in _EXPECTED)]


class QuietWindowTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True

    def window(self, fs_type):
        disk = self.room.disk(fs_type)
        answer, calls = self.trace("--json", "snapshot", disk.point, environment={
            "ZFI_TRACE_FILE": self.room.at("trace.log"), "ZFI_TRACE_LEVEL": "7"})
        self.assert_code(answer, 0)
        self.delete(answer.json)
        proofs = [index for index, call in enumerate(calls) if re.match(r"ioctl\(.*FIFREEZE\) += -1 EBUSY", call)]
        self.assertEqual(len(proofs), 2, "a window has a proof at its start and one at its end")
        first, last = proofs
        begin = max(index for index in range(first) if re.match(r"waitid\(.*CLD_EXITED|ioctl\(.*FIFREEZE\) += 0",
                                                                calls[index]))
        end = next(index for index in range(last, len(calls)) if "FITHAW" in calls[index])
        return calls, begin, end

    def quiet(self, fs_type):
        calls, begin, end = self.window(fs_type)
        self.assertEqual(unexpected(calls[begin:end + 1]), [])
        # The same question finds all of it around the window: it would have been found inside.
        for around, what in ((calls[:begin], "before"), (calls[end + 1:], "after")):
            found = "\n".join(unexpected(around))
            for forbidden in (r"openat\(.*(/etc/mtab|/proc/[^,]*/mount)", r"pwrite64\(.*\.db", r"fdatasync\(.*\.db",
                              r"write\(.*trace\.log"):
                self.assertRegex(found, forbidden, f"not even {what} the window")

    def test_of_a_road_that_freezes_by_command(self):
        self.quiet("xfs")

    def test_of_a_road_that_freezes_by_itself(self):
        self.quiet("ext4")

    def test_a_call_that_does_not_belong_there_is_found(self):
        for call in ('openat(AT_FDCWD</>, "/etc/mtab", O_RDONLY|O_CLOEXEC) = 8</proc/1/mounts>',
                     'openat(AT_FDCWD</>, "/proc/self/mountinfo", O_RDONLY) = 8',
                     'read(8</proc/1/mounts>, "/dev/vda", 8192) = 10',
                     'write(3</var/tmp/trace.log>, "line", 4) = 4',
                     'pwrite64(4</var/tmp/snapshots.db-wal>, "x", 24, 0) = 24',
                     "fdatasync(4</var/tmp/snapshots.db-wal>) = 0"):
            self.assertEqual(unexpected([call]), [call])
