"""What every test of this ring stands on: a mount namespace and a folder of its own, tarnctl with a catalog of its own,
and a sweep over the machine before and after."""
import errno
import hashlib
import os
import re
import subprocess
import time
import unittest

import kernel
import scratch
import tarnctl

PREFIX = "tarnfi-test-road-"


class RoadCase(unittest.TestCase):
    types = ("xfs",)  # of the file systems that the class makes
    expected_trouble = None  # a regular expression for lines of the kernel's log that the test provokes
    maxDiff = None

    def setUp(self):
        reason = scratch.reason_to_skip(*self.types)
        if reason:
            self.skipTest(reason)
        self.build = os.environ["TARNFI_TEST_BUILD"]
        kernel.enter_private_mounts()
        reason = kernel.provide_mount_table()
        if reason:
            self.skipTest(reason)
        self.kernel_log = kernel.KernelLog()
        self.addCleanup(self.kernel_log.close)
        self.semaphores = kernel.semaphores()
        self.room = scratch.Scratch(PREFIX)
        self.addCleanup(self.sweep_machine)
        self.addCleanup(self.room.tear_down)
        os.mkdir(self.room.at("catalog"), 0o700)
        self.tarnctl = tarnctl.Tarnctl(self.build, self.room.at("catalog/snapshots.db"))

    def tearDown(self):
        if getattr(self, "room", None) is not None:
            self.assertEqual(self.left_by_product(), [])

    def left_by_product(self, patience=3.0, but=()):
        """What is there beside the disks that the test made. What is just going away gets a little time, until only
        what may be there is left."""
        deadline = time.monotonic() + patience
        while True:
            left = self._look_for_leftovers()
            if left == list(but) or time.monotonic() > deadline:
                return left
            time.sleep(0.02)

    def _look_for_leftovers(self):
        disks = self.room.disks
        points = [mount.point for mount in kernel.mounts(below=self.room.folder)]
        for disk in disks:
            if disk.point in points:
                points.remove(disk.point)
        left = [f"mounted: {point}" for point in points]
        images = {disk.image for disk in disks}
        left += [f"attached: {device} over {file}"
                 for device, file in kernel.loop_devices(containing=self.room.folder).items() if file.removesuffix(" (deleted)") not in images]
        for folder, folders, files in os.walk(self.room.folder):
            if folder in {disk.point for disk in disks if disk.point != self.room.store_folder}:
                folders.clear()
                continue
            left += [f"there: {os.path.join(folder, name)}" for name in folders + files
                     if re.search(r"_alt\d*$|\.tarnfi-", name)]
        left += [f"running: {words}" for words in kernel.processes(mentioning=self.tarnctl.program).values()]
        return left + [f"frozen: {disk.point}" for disk in disks
                       if os.path.ismount(disk.point) and kernel.thaw(disk.point) != errno.EINVAL]

    def sweep_machine(self):
        self.assertEqual(scratch.leftovers(self.room.folder), [])
        self.assertEqual(kernel.semaphores() - self.semaphores, set(), "a semaphore was left")
        trouble = [line for line in self.kernel_log.errors()
                   if self.expected_trouble is None or not re.search(self.expected_trouble, line)]
        self.assertEqual(trouble, [])

    # -- what tests ask for --------------------------------------------------------------------------------------

    def snapshot(self, disk, **options):
        """The JSON of a snapshot that must succeed."""
        answer = self.tarnctl.json("snapshot", disk.point, **options)
        self.assertEqual(answer.code, 0, answer)
        self.assertTrue(answer.json["ok"], answer)
        return answer.json

    def delete(self, made):
        self.assert_code(self.tarnctl.run("delete", made["id"]), 0)

    def known(self, *, everything=False):
        """The snapshots in the catalog that are not gone."""
        answer = self.tarnctl.json("list", *(["--all"] if everything else []))
        self.assertEqual(answer.code, 0, answer)
        return answer.json["snapshots"]

    def assert_code(self, answer, code, *parts):
        """The exit code, and every part of text in what was said."""
        self.assertEqual(answer.code, code, answer)
        for part in parts:
            self.assertIn(part, answer.out + answer.err)

    def assert_refused(self, path, code, *parts, words=None, environment=None):
        """`snapshot path` fails so, as text and as JSON; nothing was touched and nothing is left."""
        words = list(words or ["snapshot", path])
        answer = self.tarnctl.json(*words, environment=environment)
        self.assertEqual(answer.code, code, answer)
        self.assertIsNotNone(answer.json, answer)
        self.assertFalse(answer.json["ok"])
        self.assertEqual(answer.json["exitCode"], code)
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assertTrue(answer.json["operation"] and answer.json["cause"], answer)
        for part in parts:
            self.assertIn(part, answer.json["cause"] + "\n".join(answer.json["trace"]))
        text = self.tarnctl.run(*words, environment=environment)
        self.assertEqual(text.code, code, text)
        self.assertEqual(text.out, "")
        self.assertTrue(text.err.startswith("tarnctl: "), text.err)
        self.assertEqual(self.left_by_product(), [])
        return answer

    def assert_works(self, disk):
        """A snapshot of it can be made and deleted: whatever happened before did no harm."""
        self.delete(self.snapshot(disk))
        self.assertEqual(self.known(), [])

    def start_paused(self, at, *words, more=None):
        """Starts tarnctl and waits until it stands at this call (see pause_at.cpp). Answers it and a way to go on."""
        more = more or {}  # environment
        folder = self.room.at(f"pause-{len(os.listdir(self.room.folder))}")
        os.mkdir(folder)
        process = self.tarnctl.start(*words, environment={
            **more,
            "LD_PRELOAD": ":".join(filter(None, [os.path.join(self.build, "tests/pause_at.so"), more.get("LD_PRELOAD")])),
            "TARNFI_TEST_PAUSE_AT": at, "TARNFI_TEST_PAUSE_IN": folder})
        self.addCleanup(self._end, process)
        deadline = time.monotonic() + 20
        while not os.path.exists(os.path.join(folder, "reached")):
            if process.poll() is not None or time.monotonic() > deadline:
                self.fail(f"it did not come to {at}: {tarnctl.finish(process)}")
            time.sleep(0.005)

        def go_on():
            with open(os.path.join(folder, "go"), "w", encoding="ascii"):
                pass
            return tarnctl.finish(process)
        return process, go_on

    @staticmethod
    def _end(process):
        if process.poll() is None:
            process.kill()
            process.wait()
        for stream in (process.stdout, process.stderr):
            stream.close()

    def start(self, *words, **options):
        """A program of the test, ended with it."""
        process = subprocess.Popen(words, stdin=subprocess.DEVNULL, **options)
        self.addCleanup(self._stop, process)
        return process

    @staticmethod
    def _stop(process):
        if process.poll() is None:
            process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


def write(path, content=b"content"):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def checksums(folder):
    """Relative name to checksum, of every file below it."""
    found = {}
    for where, _, files in os.walk(folder):
        for name in files:
            path = os.path.join(where, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, folder)] = hashlib.sha256(file.read()).hexdigest()
    return found
