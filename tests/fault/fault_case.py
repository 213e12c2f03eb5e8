"""What every test of this ring stands on: the bed of the road ring, commands replaced in its private mount namespace,
the program under strace, and the proof that nothing stays frozen."""
import contextlib
import os
import re
import shutil
import signal
import subprocess
import time

import kernel
import tarnctl
from road_case import RoadCase

LONGEST_FROZEN = 3.0  # seconds after a kill, or after a freeze that was on its way has arrived
_STRACE = "/usr/bin/strace"


class FaultCase(RoadCase):
    needs_strace = False
    # Said of large files on an ext4 below loop devices. This ring has none: it comes from a test that runs beside it.
    expected_trouble = "ext4_convert_unwritten_extents_endio"

    def setUp(self):
        if self.needs_strace and not os.access(_STRACE, os.X_OK):
            self.skipTest("needs strace")
        super().setUp()
        self.addCleanup(self._end_guards)

    # -- faults --------------------------------------------------------------------------------------------------

    def replace(self, command, script):
        """From now on the command is this script. $REAL is the command itself, $PPID whoever started it."""
        command = os.path.realpath(command)
        folder = self.room.at(f"real-{os.path.basename(command)}")
        if not os.path.isdir(folder):
            os.mkdir(folder)
            real = shutil.copy2(command, folder)
            if os.path.basename(command) == "xfs_freeze":  # a script that looks for its program beside itself
                os.symlink("/usr/sbin/xfs_io", os.path.join(folder, "xfs_io"))
        else:
            self.restore(command)
            real = os.path.join(folder, os.path.basename(command))
        wrapper = os.path.join(folder, "wrapper")
        with open(wrapper, "w", encoding="ascii") as file:
            file.write(f"#!/bin/sh\nREAL={real}\n{script}\n")
        os.chmod(wrapper, 0o755)
        kernel.mount(wrapper, command, options="bind")
        self.addCleanup(self.restore, command)
        return wrapper

    @staticmethod
    def restore(command):
        with contextlib.suppress(OSError):
            kernel.umount(os.path.realpath(command))

    def start_under_strace(self, strace_words, *words, environment=None):
        """strace follows the program alone: neither its guard nor its commands."""
        return subprocess.Popen([_STRACE, "-qq", *strace_words, self.tarnctl.program, *words],
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                env=self.tarnctl.environment(**(environment or {})), start_new_session=True)

    def with_fault(self, call, number, fault, *words):
        """Runs it with a fault at its number-th system call of this name: signal=SIGKILL (before the call) or
        error=NAME (instead of the call)."""
        inject = ["-o", "/dev/null", "-e", f"trace={call}", "-e", f"inject={call}:{fault}:when={number}"]
        return tarnctl.finish(self.start_under_strace(inject, *words))

    def trace(self, *words, environment=None):
        """Runs it undisturbed. Answers what it said and its system calls, one text each, in order."""
        path = self.room.at("strace")
        answer = tarnctl.finish(self.start_under_strace(["-y", "-s", "64", "-o", path], *words,
                                                        environment=environment))
        with open(path, encoding="utf-8", errors="replace") as file:
            calls = [line.rstrip("\n") for line in file if re.match(r"\w+\(", line)]
        os.unlink(path)
        return answer, calls

    def _end_guards(self):
        """Of a test that failed: a guard that was left would keep its file system from being unmounted."""
        for pid, comm in self._processes_of_ours().items():
            if comm == "tarnctl-guard":
                os.kill(pid, signal.SIGKILL)

    # -- proofs --------------------------------------------------------------------------------------------------

    def await_orphans(self, seconds=20):
        """Waits for the commands that a killed program left running; its guard is none of them."""
        deadline = time.monotonic() + seconds
        while self._orphans():
            self.assertLess(time.monotonic(), deadline, self._orphans())
            time.sleep(0.005)

    def _orphans(self):
        return [pid for pid, comm in self._processes_of_ours().items() if comm != "tarnctl-guard"]

    def _processes_of_ours(self):
        """Process id to short name."""
        found = {}
        for pid in kernel.processes(mentioning=self.room.folder):
            with contextlib.suppress(OSError), open(f"/proc/{pid}/comm", encoding="ascii") as file:
                found[pid] = file.read().rstrip("\n")
        return found

    def assert_not_frozen(self, disk, seconds=LONGEST_FROZEN):
        """A write completes in time. It does not thaw by itself what it looks at. Answers the seconds it took."""
        start = time.monotonic()
        writer = os.fork()
        if writer == 0:
            with contextlib.suppress(BaseException):
                file = os.open(disk.at("written-after-the-fault"), os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
                os.write(file, b"x")
                os.fsync(file)
                os._exit(0)
            os._exit(1)
        while True:
            pid, status = os.waitpid(writer, os.WNOHANG)
            took = time.monotonic() - start
            if pid == writer:
                self.assertEqual(status, 0, "the write failed")
                return took
            if took > seconds:
                kernel.thaw(disk.point)
                os.waitpid(writer, 0)
                self.fail(f"{disk.point} was still frozen after {seconds} s")
            time.sleep(0.002)

    def delete_patiently(self, identity, seconds=LONGEST_FROZEN):
        """delete, again while it answers that somebody is still at work: a guard that was just being born."""
        deadline = time.monotonic() + seconds
        while True:
            answer = self.tarnctl.json("delete", identity)
            if answer.code != 5 or time.monotonic() > deadline:
                self.assertEqual(answer.code, 0, answer)
                return
            time.sleep(0.05)

    def delete_all(self):
        for one in self.known():
            self.delete_patiently(one["id"])

    def steps_of(self, identity):
        """Name to state, of the steps in the catalog."""
        answer = self.tarnctl.json("show", identity)
        self.assertEqual(answer.code, 0, answer)
        return {step["name"]: step["state"] for step in answer.json["steps"]}

    def assert_nothing_left(self):
        self.assertEqual(self.left_by_product(), [])
        self.assertEqual(self.known(), [])

    @staticmethod
    def guard_of(process):
        """The guard's process id."""
        with open(f"/proc/{process.pid}/task/{process.pid}/children", encoding="ascii") as file:
            for child in map(int, file.read().split()):
                with open(f"/proc/{child}/comm", encoding="ascii") as comm:
                    if comm.read() == "tarnctl-guard\n":
                        return child
        raise AssertionError("it has no guard")
