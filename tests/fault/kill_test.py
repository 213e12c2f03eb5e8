"""kill -9 at every step of the road: what is left can always be taken away, and nothing stays frozen.

TARNFI_FAULT_ROUNDS: rounds per type of file system (default 50, two types)."""
import collections
import os
import time

import kill_points
from fault_case import LONGEST_FROZEN, FaultCase

_ROUNDS = int(os.environ.get("TARNFI_FAULT_ROUNDS", "50"))
_ROUNDS_PER_CATALOG = 100
# What the catalog knows after the kills of a whole sweep: each of these must have been met.
_STATES = {
    "no record",
    "no step",
    "prepare intended",
    "prepare done",
    "window intended: announced",
    "window intended: freezing",
    "window intended: frozen",
    "window intended: thawing",
    "window intended: thawed",
    "thaw done",
    "mount intended",
    "mount done",
}


class KillTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True

    def sweep(self, fs_type, freezes_by_command):
        disk = self.room.disk(fs_type)
        self.assert_works(disk)
        answer, calls = self.trace("--json", "snapshot", disk.point)
        self.assert_code(answer, 0)
        self.delete_all()
        found = kill_points.points(calls, freezes_by_command)
        met, slowest, started = collections.Counter(), 0.0, time.monotonic()
        for number, point in enumerate(kill_points.rounds(found, _ROUNDS)):
            with self.subTest(round=number, point=str(point)):
                state, took = self.round(disk, point, twice=number % 4 == 0)
                met[state] += 1
                slowest = max(slowest, took)
            if number % _ROUNDS_PER_CATALOG == _ROUNDS_PER_CATALOG - 1:
                self.tarnctl.catalog = self.room.at(f"catalog/{number}.db")
                self.assertEqual(self.known(), [])
        print(f"{fs_type}: {_ROUNDS} rounds over {len(found)} points in {time.monotonic() - started:.0f} s; the slowest "
              f"write after a kill took {slowest * 1000:.0f} ms")
        for state, count in sorted(met.items()):
            print(f"    {count:4} x killed at: {state}")
        if _ROUNDS >= 50:
            self.assertEqual(_STATES - set(met), set(), "these places were never met")
        self.assert_works(disk)

    def round(self, disk, point, twice):
        """Kills one road at this point. Answers where that was, and how long a write took afterwards."""
        answer = self.with_fault(point.call, point.number, "signal=SIGKILL", "--json", "snapshot", disk.point)
        self.assertIn(answer.code, (-9, 0), answer)
        self.await_orphans()
        took = self.assert_not_frozen(disk, LONGEST_FROZEN)
        known = self.known()
        state = "no record"
        for one in known:
            state = self.place(one, point)
            self.delete_patiently(one["id"])
            if twice:
                self.delete_patiently(one["id"])
        self.assertLessEqual(len(known), 1)
        self.assert_nothing_left()
        return ("not killed: the road had ended" if answer.code == 0 else state), took

    def place(self, one, point):
        steps = self.steps_of(one["id"])
        if not steps:
            return "no step"
        name, state = list(steps.items())[-1]
        if name == "thaw" and state == "intended":
            return f"window intended: {point.place}"
        return f"{name} {state}"

    def test_of_a_road_that_freezes_by_command(self):
        self.sweep("xfs", True)

    def test_of_a_road_that_freezes_by_itself(self):
        self.sweep("ext4", False)
