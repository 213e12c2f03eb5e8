"""kill -9 at every step of mount, umount and import: repeating the verb, or delete, finishes or takes apart what is left.

TARNFI_FAULT_TRANSFERS: rounds per verb and type of file system (default 6)."""
import os
import shutil
import time

import kernel
import kill_points
import tarnctl
from fault_case import FaultCase
from road_case import checksums, write

_ROUNDS = int(os.environ.get("TARNFI_FAULT_TRANSFERS", "6"))


class KillTransferTest(FaultCase):
    types = ("xfs", "ext4")
    needs_strace = True

    def prepare(self, fs_type):
        self.disk = self.room.disk(fs_type)
        write(self.disk.at("folder/file"), os.urandom(100_000))
        self.content = checksums(self.disk.point)
        self.made = self.snapshot(self.disk)
        self.copy = f"{self.disk.image}.tarnfi-{self.made['id']}"

    def state(self):
        (known,) = self.known()
        return known["state"]

    def verb(self, *words):
        answer = self.tarnctl.json(*words)
        self.assert_code(answer, 0)
        return answer.json

    def points(self, *words):
        """Where the verb can be killed, of one undisturbed run."""
        answer, calls = self.trace("--json", *words)
        self.assert_code(answer, 0)
        return kill_points.of_verb(calls)

    def kill(self, point, *words):
        answer = self.with_fault(point.call, point.number, "signal=SIGKILL", "--json", *words)
        self.assertIn(answer.code, (-9, 0), answer)
        self.await_orphans()

    def assert_readable(self, alternate):
        self.assertEqual(checksums(alternate), self.content)
        self.assertIn("ro", kernel.mounts(below=alternate)[0].options)

    def assert_at_rest(self, copy):
        at_rest = [f"there: {copy}"] if ".tarnfi-" in copy else []
        self.assertEqual(self.left_by_product(but=at_rest), at_rest)
        self.assertEqual(kernel.loop_devices(containing=copy), {})

    def sweep(self, name, points, round_of):
        started = time.monotonic()
        for number, point in enumerate(kill_points.spread(points, _ROUNDS)):
            with self.subTest(verb=name, round=number, point=str(point)):
                round_of(number, point)
        print(f"{name}: {_ROUNDS} rounds over {len(points)} points in {time.monotonic() - started:.0f} s")

    def of_own(self, fs_type):
        """mount and umount, each killed; finished by itself, by the other one, or by a look and itself."""
        self.prepare(fs_type)
        identity, alternate = self.made["id"], self.made["alternate"]
        down = self.points("umount", identity)
        up = self.points("mount", identity)

        def umounted(number, point):
            self.kill(point, "umount", identity)
            self.assertIn(self.state(), ("ready", "unmounting", "unmounted"))
            if number % 2:
                self.verb("mount", identity)
                self.assert_readable(alternate)
            self.verb("umount", identity)
            self.assertEqual(self.state(), "unmounted")
            self.assert_at_rest(self.copy)
            self.assert_readable(self.verb("mount", identity)["alternate"])

        def mounted(number, point):
            self.verb("umount", identity)
            self.kill(point, "mount", identity)
            self.assertIn(self.state(), ("ready", "mounting", "unmounted"))
            if number % 2:
                self.verb("umount", identity)
                self.assert_at_rest(self.copy)
            self.assert_readable(self.verb("mount", identity)["alternate"])
            self.assertEqual(self.state(), "ready")

        self.sweep(f"umount, {fs_type}", down, umounted)
        self.sweep(f"mount, {fs_type}", up, mounted)
        self.delete_all()
        self.assert_nothing_left()

    def deleted(self, fs_type):
        """mount and umount, each killed, and then delete."""
        self.prepare(fs_type)
        down = self.points("umount", self.made["id"])
        up = self.points("mount", self.made["id"])
        self.delete_all()

        def remove(number, point):
            made = self.snapshot(self.disk)
            words = ("umount", made["id"])
            if number % 2:
                self.verb(*words)
                words = ("mount", made["id"])
            self.kill(point, *words)
            self.delete_patiently(made["id"])
            self.delete_patiently(made["id"])
            self.assert_nothing_left()

        points = [point for pair in zip(down, kill_points.spread(up, len(down))) for point in pair]
        self.sweep(f"delete after a killed umount or mount, {fs_type}", points, remove)

    def imported(self, fs_type):
        self.prepare(fs_type)
        document, carried = self.room.at("export.json"), self.room.at("carried")
        self.verb("umount", self.made["id"])
        self.verb("export", self.made["id"], "--output", document)
        shutil.copyfile(self.copy, carried)
        self.delete_all()
        os.mkdir(self.room.at("other-catalog"), 0o700)
        self.tarnctl = tarnctl.Tarnctl(self.build, self.room.at("other-catalog/snapshots.db"))
        words = ("import", document, "--device", carried)
        points = self.points(*words)
        self.delete_all()

        def killed(number, point):
            self.kill(point, *words)
            known = self.known()
            self.assertLessEqual(len(known), 1)
            for one in known:
                self.assertIn(one["state"], ("making", "ready"))
                for _ in range(1 + number % 2):
                    self.delete_patiently(one["id"])
            self.assert_nothing_left()
            self.assert_at_rest(carried)
            self.assertTrue(os.path.exists(carried))
            if number % 3 == 0:
                self.assert_readable(self.verb(*words)["alternate"])
                self.delete_all()

        self.sweep(f"import, {fs_type}", points, killed)

    def test_mount_and_umount_of_xfs(self):
        self.of_own("xfs")

    def test_mount_and_umount_of_ext4(self):
        self.of_own("ext4")

    def test_delete_after_a_killed_mount_or_umount_of_xfs(self):
        self.deleted("xfs")

    def test_delete_after_a_killed_mount_or_umount_of_ext4(self):
        self.deleted("ext4")

    def test_import_of_xfs(self):
        self.imported("xfs")

    def test_import_of_ext4(self):
        self.imported("ext4")
