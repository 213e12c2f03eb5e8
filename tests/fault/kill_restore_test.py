"""kill -9 at every step of a restore: restore again, or delete, brings it to its end, and the origin is never mounted
half written.

TARNFI_FAULT_RESTORES: rounds per type of file system (default 15, two types)."""
import collections
import os
import re
import subprocess
import time

import kernel
from fault_case import FaultCase
from kill_points import Point
from restore_case import FILES, SPOILED, mount_line
from road_case import read, write

_ROUNDS = int(os.environ.get("TARNFI_FAULT_RESTORES", "15"))
_STEADY = ("pwrite64", "fdatasync", "fsync", "ioctl", "clone3", "fallocate", "copy_file_range", "exit_group")
_STATES = {"no step", "disable intended", "disable done", "restore intended", "restore done", "over"}


def points(calls):
    """Before each call from the first write of the catalog on, each with its place on the road."""
    unmount, *_, mount = [index for index, text in enumerate(calls) if text.startswith("clone3(")]
    look = next(index for index in range(unmount, len(calls)) if calls[index].startswith("ioctl("))
    flush = max(index for index, text in enumerate(calls) if "BLKFLSBUF" in text)
    begin = next(index for index, text in enumerate(calls) if re.match(r"pwrite64\(.*\.db-wal", text))
    ends = ((unmount, "unmounting"), (look - 1, "unmounted"), (flush, "writing"), (mount, "written"),
            (len(calls), "mounted"))
    seen, found = {}, []
    for index, text in enumerate(calls):
        name = text.partition("(")[0]
        seen[name] = seen.get(name, 0) + 1
        if name in _STEADY and index >= begin:
            found.append(Point(name, seen[name], next(place for end, place in ends if index <= end), text))
    return found


def rounds(found, count):
    """As many in each place, its first and its last point among them."""
    places = list(dict.fromkeys(point.place for point in found))
    each = max(2, count // len(places))
    for place in places:
        there = [point for point in found if point.place == place]
        for number in range(each):
            yield there[number * (len(there) - 1) // (each - 1)]


class KillRestoreTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True

    def sweep(self, fs_type, clones):
        if not clones:
            self.room.use_plain_store()
        self.disk = self.room.disk(fs_type)
        for name, content in FILES.items():
            write(self.disk.at(name), content)
        self.made = self.snapshot(self.disk)
        self.spoil()
        answer, calls = self.trace("--json", "restore", self.made["id"])
        self.assert_code(answer, 0)
        found, met, started = points(calls), collections.Counter(), time.monotonic()
        for number, point in enumerate(rounds(found, _ROUNDS)):
            with self.subTest(round=number, point=str(point)):
                met[self.round(point, by_delete=number % 2 == int(clones))] += 1
        self.delete_all()
        self.assert_nothing_left()
        print(f"{fs_type}: {sum(met.values())} rounds over {len(found)} points in {time.monotonic() - started:.0f} s")
        for state, count in sorted(met.items()):
            print(f"    {count:4} x killed at: {state}")
        missed = _STATES - set(met)
        self.assertLessEqual(len(missed), 0 if _ROUNDS >= 100 else 2, missed)

    def spoil(self):
        write(self.disk.at("old"), SPOILED)
        os.sync()

    def round(self, point, by_delete):
        """Answers the place where it was killed."""
        self.spoil()
        before = len(self.steps("disable"))
        answer = self.with_fault(point.call, point.number, "signal=SIGKILL", "--json", "restore", self.made["id"])
        self.assertIn(answer.code, (-9, 0), answer)
        self.await_orphans()
        state = self.place(before)
        if os.path.ismount(self.disk.point):
            self.assertNotEqual(state, "restore intended", "a half-written origin is mounted")
            self.assert_not_frozen(self.disk)
        if by_delete:
            self.delete_patiently(self.made["id"])
            self.assertEqual(self.left_by_product(), [])
            content = read(self.disk.at("old"))
            write(self.disk.at("old"), FILES["old"])
            self.made = self.snapshot(self.disk)
            # Before the first byte delete leaves what was there, after it there is but one end.
            spoiled = state in ("no step", "disable intended", "disable done")
            self.assertEqual(content[:20], SPOILED if spoiled else FILES["old"][:20])
        else:
            self.restore_patiently()
            self.assertEqual(self.place(before), "over")
        self.assert_restored()
        return state

    def assert_restored(self):
        """The origin is mounted and whole, and so is the snapshot; each of them has one device."""
        for name in ("old", "folder/deep"):
            self.assertTrue(read(self.disk.at(name)) == FILES[name], name)
            self.assertTrue(read(os.path.join(self.made["alternate"], name)) == FILES[name], name)
        files = [self.disk.image, f"{self.disk.image}.tarnfi-{self.made['id']}"]
        deadline = time.monotonic() + 5  # the killed one's device is just going away
        while sorted(kernel.loop_devices(containing=self.disk.image).values()) != files:
            self.assertLess(time.monotonic(), deadline, kernel.loop_devices(containing=self.disk.image))
            time.sleep(0.02)

    def restore_patiently(self, seconds=10):
        """Again while it answers that somebody is still at work: the guard of the killed one."""
        deadline = time.monotonic() + seconds
        while True:
            answer = self.tarnctl.json("restore", self.made["id"])
            if answer.code != 5 or time.monotonic() > deadline:
                self.assertEqual(answer.code, 0, answer)
                return
            time.sleep(0.05)

    def steps(self, *names):
        """Names and states, in order."""
        answer = self.tarnctl.json("show", self.made["id"])
        return [(step["name"], step["state"]) for step in answer.json["steps"] if step["name"] in names]

    def place(self, before=0):
        """How far the restore came that followed this many."""
        disables = self.steps("disable")
        if len(disables) == before:
            return "no step"
        if disables[-1][1] == "undone":
            return "over"
        return " ".join(self.steps("disable", "restore")[-1])

    def test_of_a_clone(self):
        self.sweep("xfs", True)

    def test_of_a_copy(self):
        self.sweep("ext4", False)

    def test_delete_finishes_what_is_half_written(self):
        self.disk = self.room.disk("ext4")
        write(self.disk.at("old"), FILES["old"])
        self.made = self.snapshot(self.disk)
        self.spoil()
        _, calls = self.trace("--json", "restore", self.made["id"])
        self.spoil()
        clone = next(point for point in points(calls) if "FICLONE" in point.text and "(deleted)" not in point.text
                     and self.disk.image in point.text)
        answer = self.with_fault("ioctl", clone.number, "signal=SIGKILL", "--json", "restore", self.made["id"])
        self.assertEqual(answer.code, -9)
        self.assertEqual(self.place(before=1), "restore intended")
        self.assertFalse(os.path.ismount(self.disk.point))
        second = self.tarnctl.json("list").json["snapshots"]
        self.assertEqual([one["state"] for one in second], ["ready"])
        os.rename(f"{self.disk.image}.tarnfi-{self.made['id']}", self.disk.image + ".away")
        self.assert_code(self.tarnctl.json("delete", self.made["id"]), 1, "is half restored", "tarnctl restore")
        self.assertFalse(os.path.ismount(self.disk.point))
        os.rename(self.disk.image + ".away", f"{self.disk.image}.tarnfi-{self.made['id']}")
        self.delete_patiently(self.made["id"])
        self.assertEqual(read(self.disk.at("old")), FILES["old"])
        self.assert_nothing_left()

    def test_the_options_that_come_back_are_those_of_now(self):
        self.disk = self.room.disk("ext4")
        write(self.disk.at("old"), FILES["old"])
        self.made = self.snapshot(self.disk)
        _, calls = self.trace("--json", "restore", self.made["id"])
        unmount = [point for point in points(calls) if point.place == "unmounting"][-1]
        answer = self.with_fault(unmount.call, unmount.number, "signal=SIGKILL", "--json", "restore", self.made["id"])
        self.assertEqual(answer.code, -9)
        self.assertEqual(self.place(before=1), "disable intended")
        subprocess.run(["mount", "-o", "remount,noexec", self.disk.point], check=True)
        self.restore_patiently()
        self.assertIn("noexec", mount_line(self.disk.point)[0].split()[5].split(","))
        self.assertEqual(self.steps("disable"), [("disable", "undone")] * 3)
        self.delete_all()
        self.assert_nothing_left()

    def test_what_was_written_after_the_mount_stays(self):
        self.disk = self.room.disk("ext4")
        write(self.disk.at("old"), FILES["old"])
        self.made = self.snapshot(self.disk)
        _, calls = self.trace("--json", "restore", self.made["id"])
        # The last write of the catalog says that the origin is mounted again; before it is there, it was not said.
        last = [point for point in points(calls) if point.call == "pwrite64" and ".db-wal" in point.text][-1]
        answer = self.with_fault("pwrite64", last.number, "signal=SIGKILL", "--json", "restore", self.made["id"])
        self.assertEqual(answer.code, -9)
        self.assertEqual(self.place(before=1), "restore done")
        self.assertTrue(os.path.ismount(self.disk.point))
        write(self.disk.at("old"), b"written since")
        subprocess.run(["sync"], check=True)
        self.restore_patiently()
        self.assertEqual(read(self.disk.at("old")), b"written since")
        self.delete_all()
        self.assert_nothing_left()
