"""delete ID: takes away what is there, once or twice, and nothing that is not its own."""
import errno
import os
import signal
import subprocess

import kernel
from road_case import RoadCase, read, write


class DeleteTest(RoadCase):
    types = ("xfs",)

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("xfs")
        write(self.disk.at("file"))
        self.made = self.snapshot(self.disk)
        self.copy = f"{self.disk.image}.tarnfi-{self.made['id']}"

    def tearDown(self):
        self.assert_code(self.tarnctl.run("delete", self.made["id"]), 0)
        super().tearDown()

    def test_twice_is_harmless(self):
        for _ in range(2):
            answer = self.tarnctl.json("delete", self.made["id"])
            self.assert_code(answer, 0)
            self.assertEqual(answer.json, {"ok": True, "id": self.made["id"], "state": "gone"})
            self.assertEqual(self.left_by_product(), [])

    def test_a_busy_copy_stays_whole_and_is_deleted_later(self):
        before = self.known()
        holder = self.start("sleep", "60", cwd=self.made["alternate"])
        answer = self.tarnctl.json("delete", self.made["id"])
        self.assert_code(answer, 5)
        self.assertEqual(answer.json["subject"], self.made["alternate"])
        self.assertEqual(read(os.path.join(self.made["alternate"], "file")), b"content")
        self.assertTrue(os.path.exists(self.copy))
        self.assertEqual(self.known(), before)
        self.assertTrue(kernel.mounts(below=self.made["alternate"]))
        holder.send_signal(signal.SIGKILL)
        holder.wait()
        self.delete(self.made)

    def test_an_unknown_id_is_not_found(self):
        for bad in ("unknown", "", "../x", "1m7wmvdcw-9482", "'; DROP TABLE snapshot; --", "x" * 5000, "é\n"):
            for verb in ("delete", "show"):
                answer = self.tarnctl.json(verb, "--", bad)
                self.assert_code(answer, 4)
                self.assertFalse(answer.json["ok"])
        self.assertEqual(len(self.known()), 1)

    def test_a_copy_that_was_unmounted_by_hand(self):
        kernel.umount(self.made["alternate"])
        self.delete(self.made)

    def test_a_copy_whose_mount_point_was_removed_by_hand(self):
        kernel.umount(self.made["alternate"])
        os.rmdir(self.made["alternate"])
        self.delete(self.made)

    def test_a_device_that_was_detached_by_hand(self):
        kernel.umount(self.made["alternate"])
        subprocess.run(["losetup", "--detach", self.made["snapshotDevice"]], check=True)
        self.delete(self.made)

    def test_a_file_that_was_deleted_by_hand(self):
        os.unlink(self.copy)
        self.delete(self.made)

    def test_another_file_in_its_place_stays(self):
        kernel.umount(self.made["alternate"])
        subprocess.run(["losetup", "--detach", self.made["snapshotDevice"]], check=True)
        os.unlink(self.copy)
        write(self.copy, b"not yours")
        self.assert_code(self.tarnctl.json("delete", self.made["id"]), 1, "is not the snapshot file")
        self.assertEqual(read(self.copy), b"not yours")
        os.unlink(self.copy)

    def test_what_somebody_else_mounted_there_stays(self):
        kernel.umount(self.made["alternate"])
        kernel.mount("tarnfi-test", self.made["alternate"], "tmpfs")
        self.assert_code(self.tarnctl.json("delete", self.made["id"]), 1, "unmount it first")
        self.assertEqual([mount.type for mount in kernel.mounts(below=self.made["alternate"])], ["tmpfs"])
        kernel.umount(self.made["alternate"])

    def test_what_somebody_mounted_on_top_stays(self):
        kernel.mount("tarnfi-test", self.made["alternate"], "tmpfs")
        self.assert_code(self.tarnctl.json("delete", self.made["id"]), 1, "unmount it first")
        self.assertEqual(len(kernel.mounts(below=self.made["alternate"])), 2)
        kernel.umount(self.made["alternate"])

    def test_an_origin_that_is_not_mounted_any_more(self):
        kernel.umount(self.disk.point)
        self.delete(self.made)

    def test_a_frozen_origin_does_not_keep_the_copy(self):
        self.assertEqual(kernel.freeze(self.disk.point), 0)
        self.delete(self.made)
        self.assertEqual(kernel.freeze(self.disk.point), errno.EBUSY, "delete thawed what somebody else froze")
        self.assertEqual(kernel.thaw(self.disk.point), 0)

    def test_an_empty_mount_point_that_was_there_before_stays(self):
        os.mkdir(self.disk.point + "_alt0")
        second = self.snapshot(self.disk)
        self.assertEqual(second["alternate"], self.disk.point + "_alt0")
        self.delete(second)
        self.assertTrue(os.path.isdir(second["alternate"]))
        os.rmdir(second["alternate"])
