"""A file system that the kernel cannot freeze: snapshotted as after a crash, on a volume layer that cuts atomically, and
refused on any other. This kernel freezes all that it has, so the program is shown an NFS mount: its own tables name that
type for a mount that really is ext4; everything that is done to it is done for real."""
import os
import time

import kernel
from records import numbers_in, read_log
from road_case import RoadCase

UNSUPPORTED = 6


class CrashTest(RoadCase):
    types = ("ext4", "xfs")

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("ext4")
        self.seen = {"LD_PRELOAD": os.path.join(self.build, "tests/seen_as.so"),
                     "TARNFI_TEST_SEEN_AS": f"{self.disk.point}=nfs4"}
        path = os.path.join(self.build, "tests/providers") + ":" + os.path.join(self.build, "lib")
        self.words = ["--provider-path", path, "--provider", "tarnfi,atomfi"]

    def options(self):
        with open("/proc/self/mounts", encoding="ascii") as table:
            (line,) = (line.split() for line in table if line.split()[1] == self.disk.point)
        return line[3].split(",")

    def test_is_refused_where_nobody_cuts_atomically(self):
        answer = self.assert_refused(self.disk.point, UNSUPPORTED, "the kernel cannot freeze nfs4",
                                     "loopfi does not say that it cuts", environment=self.seen)
        self.assertEqual(answer.json["operation"], "snapshot")
        self.assertEqual(self.known(), [])
        self.assert_works(self.disk)

    def test_is_cut_without_a_freeze_and_with_sync(self):
        before = self.options()
        log = self.room.at("log")
        writer = self.start(os.path.join(self.build, "tests/record_writer"), self.disk.at("records"), log)
        deadline = time.monotonic() + 20
        while not os.path.exists(log) or len(read_log(log)[1]) < 20:
            self.assertLess(time.monotonic(), deadline, "the writer does not write")
            time.sleep(0.01)
        _, go_on = self.start_paused("ioctl:4c0a:1", *self.words, "--json", "snapshot", self.disk.point, more=self.seen)
        self.assertIn("sync", self.options())
        self.assertEqual(kernel.thaw(self.disk.point), 22, "it was frozen")  # EINVAL
        cut = max(read_log(log)[1])
        answer = go_on()
        self.assert_code(answer, 0)
        made = answer.json
        self.assertEqual((made["type"], made["consistency"], made["sync"]), ("nfs4", "crash", True))
        self.assertEqual((made["windowNs"], made["frozenAtNs"], made["warnings"]), (None, None, []))
        self.assertEqual(self.options(), before)
        held = numbers_in(os.path.join(made["alternate"], "records"))
        self.assertGreater(held, 20 - 1)
        self.assertLess(held, self.more_than(log, cut), "the copy goes on with its origin")
        self.assertIsNone(writer.poll(), "the writer ended")
        shown = self.tarnctl.json(*self.words, "show", made["id"]).json
        self.assertEqual(shown["consistency"], "crash")
        self.assertEqual([step["name"] for step in shown["steps"]], ["prepare", "sync", "make", "mount"])
        self.assert_code(self.tarnctl.run(*self.words, "delete", made["id"], environment=self.seen), 0)
        text = self.tarnctl.run(*self.words, "snapshot", self.disk.point, environment=self.seen)
        self.assert_code(text, 0, "not frozen: consistent as after a crash")
        self.assert_code(self.tarnctl.run(*self.words, "delete", text.out.split()[0], environment=self.seen), 0)

    def test_a_kill_and_a_cut_that_fails_leave_it_as_before(self):
        before = self.options()
        process, _ = self.start_paused("ioctl:4c0a:1", *self.words, "snapshot", self.disk.point, more=self.seen)
        self.assertIn("sync", self.options())
        process.kill()
        process.wait()
        (left,) = self.known()
        self.assert_code(self.tarnctl.run(*self.words, "delete", left["id"], environment=self.seen), 0)
        self.assertEqual((self.options(), self.left_by_product()), (before, []))
        answer = self.tarnctl.json(*self.words, "snapshot", self.disk.point,
                                   environment=self.seen | {"TARNFI_TEST_CUT_FAILS": "1"})
        self.assert_code(answer, 1, "make the snapshot")
        self.assertEqual((self.options(), self.left_by_product(), self.known()), (before, [], []), answer)

    def test_probe_says_so(self):
        (found,) = self.tarnctl.json("probe", self.disk.point, environment=self.seen).json["paths"]
        self.assertEqual((found["type"], found["freezeMethod"]), ("nfs4", "none"))

    def more_than(self, log, number):
        """Waits until the writer is further than this."""
        deadline = time.monotonic() + 20
        while max(read_log(log)[1]) <= number + 5:
            self.assertLess(time.monotonic(), deadline, "the writer stands still")
            time.sleep(0.01)
        return max(read_log(log)[1])
