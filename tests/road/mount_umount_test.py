"""umount ID and mount ID: a snapshot comes to rest and is mounted again, and whoever uses it is not disturbed."""
import errno
import os
import subprocess
import time

import kernel
from road_case import RoadCase, checksums, write


class MountUmountTest(RoadCase):
    types = ("xfs", "ext4")

    def made(self, fs_type="xfs", options=""):
        """A snapshot of a disk with some files; the disk goes on changing after it."""
        disk = self.room.disk(fs_type, options=options)
        for number in range(20):
            write(disk.at(f"folder/{number}"), os.urandom(30_000))
        self.content = checksums(disk.point)
        made = self.snapshot(disk)
        write(disk.at("folder/0"), b"changed afterwards")
        os.unlink(disk.at("folder/1"))
        self.disk, self.copy = disk, f"{disk.image}.tarnfi-{made['id']}"
        self.addCleanup(lambda: self.tarnctl.run("delete", made["id"]))
        return made

    def tearDown(self):
        for one in self.known():
            self.delete(one)
        super().tearDown()

    def umount(self, made):
        answer = self.tarnctl.json("umount", made["id"])
        self.assert_code(answer, 0)
        self.assertEqual(answer.json, {"ok": True, "id": made["id"], "state": "unmounted"})

    def mount(self, made, *name):
        answer = self.tarnctl.json("mount", made["id"], *name)
        self.assert_code(answer, 0)
        self.assertEqual((answer.json["id"], answer.json["state"]), (made["id"], "ready"))
        return answer.json

    def state(self):
        return [(one["state"], one["alternate"]) for one in self.known()]

    def assert_at_rest(self):
        """Nothing but the snapshot's file is left."""
        at_rest = [f"there: {self.copy}"]
        self.assertEqual(self.left_by_product(but=at_rest), at_rest)
        self.assertEqual(self.state(), [("unmounted", "")])

    def assert_mounted(self, made, content=None):
        self.assertEqual(checksums(made["alternate"]), content or self.content)
        with self.assertRaises(OSError) as caught:
            write(os.path.join(made["alternate"], "new"))
        self.assertEqual(caught.exception.errno, errno.EROFS)
        self.assertEqual(self.state(), [("ready", made["alternate"])])

    def go_down_and_up(self, fs_type):
        made = self.made(fs_type)
        for _ in range(2):
            self.umount(made)
            self.assert_at_rest()
            again = self.mount(made)
            self.assertEqual(again["alternate"], made["alternate"])
            self.assert_mounted(again)
        shown = self.tarnctl.json("show", made["id"]).json
        self.assertEqual(sorted(node["role"] for node in shown["nodes"]),
                         ["alternate", "device", "origin", "snapshot-device"])
        self.delete(made)
        self.assertEqual(self.left_by_product(), [])

    def test_xfs_comes_to_rest_and_is_mounted_again(self):
        self.go_down_and_up("xfs")

    def test_ext4_comes_to_rest_and_is_mounted_again(self):
        self.go_down_and_up("ext4")

    def test_both_verbs_may_be_repeated(self):
        made = self.made()
        self.assertEqual(self.mount(made)["snapshotDevice"], made["snapshotDevice"])
        for _ in range(2):
            self.umount(made)
        for _ in range(2):
            self.mount(made)
        self.assert_mounted(made)

    def test_at_another_name_and_without_waiting_for_itself(self):
        made = self.made()
        self.umount(made)
        other = self.room.at("elsewhere")
        started = time.monotonic()
        again = self.mount(made, other)
        self.assertLess(time.monotonic() - started, 9, "it waited for itself")
        self.assertEqual(again["alternate"], other)
        self.assert_mounted(again)
        self.assert_code(self.tarnctl.json("mount", made["id"], made["alternate"]), 5, other)
        self.umount(made)
        self.assertFalse(os.path.exists(other))
        self.assertEqual(self.mount(made)["alternate"], other)
        self.delete(made)
        self.assertFalse(os.path.exists(other))

    def test_a_name_that_is_not_fit_changes_nothing(self):
        made = self.made()
        self.umount(made)
        full = self.room.at("full")
        write(os.path.join(full, "file"))
        for name, code in ((full, 6), ("relative", 6), (self.room.at("a b"), 6), (self.room.at("no/such"), 4),
                           (self.room.disks[-1].point, 5)):
            self.assert_code(self.tarnctl.json("mount", made["id"], name), code)
            self.assert_at_rest()
        empty = self.room.at("empty")
        os.mkdir(empty, 0o750)
        self.mount(made, empty)
        self.umount(made)
        self.assertEqual(os.stat(empty).st_mode & 0o7777, 0o750)

    def test_restrictions_of_the_origin_hold_again(self):
        made = self.made("ext4", "nosuid,nodev")
        self.umount(made)
        self.mount(made)
        options = kernel.mounts(below=made["alternate"])[0].options
        self.assertEqual(options & {"nosuid", "nodev", "noexec", "ro"}, {"nosuid", "nodev", "ro"})

    def test_a_process_in_it_keeps_it_whole(self):
        made = self.made()
        holder = self.start("sleep", "60", cwd=made["alternate"])
        for verb in ("umount", "delete"):
            self.assert_code(self.tarnctl.json(verb, made["id"]), 5)
            self.assert_mounted(made)
        holder.kill()
        holder.wait()
        self.umount(made)

    def assert_busy(self, made, *parts):
        for verb in ("umount", "delete"):
            answer = self.tarnctl.json(verb, made["id"])
            self.assert_code(answer, 5, *parts)
            self.assertEqual(answer.json["undoing"], [])
            self.assert_mounted(made)
            self.assertEqual(len([one for one in kernel.mounts() if one.point == made["alternate"]]), 1)
            self.assertIn(made["snapshotDevice"], kernel.loop_devices(containing=self.copy))

    def test_a_second_mount_keeps_it_whole(self):
        made = self.made()
        second = self.room.at("second")
        os.mkdir(second)
        kernel.mount(made["alternate"], second, options="bind")
        self.addCleanup(subprocess.run, ["umount", "-q", second], check=False)
        self.assert_busy(made, second)
        kernel.umount(second)
        self.umount(made)
        self.assert_at_rest()

    def test_another_name_space_keeps_it_whole(self):
        made = self.made("ext4")
        ready = self.room.at("ready")
        holder = self.start("unshare", "--mount", "--propagation", "private", "sh", "-c", f"touch {ready}; exec sleep 60")
        while not os.path.exists(ready):
            self.assertIsNone(holder.poll())
            time.sleep(0.01)
        self.assert_busy(made, "name space")
        holder.kill()
        holder.wait()
        self.umount(made)
        self.assert_at_rest()

    def test_an_opened_device_keeps_it_whole(self):
        made = self.made()
        with open(made["snapshotDevice"], "rb"):
            self.assert_busy(made, f"process {os.getpid()}")
        self.umount(made)

    def test_a_restore_needs_it_mounted_to_its_end(self):
        made = self.made("ext4")
        self.umount(made)
        self.assert_code(self.tarnctl.json("restore", made["id"]), 4, "tarnctl mount")
        again = self.mount(made)
        process, _ = self.start_paused("spawn:/bin/umount:1", "--json", "restore", made["id"])
        process.kill()
        process.wait()
        self.assert_code(self.tarnctl.json("umount", made["id"]), 5, "restore is not finished")
        self.assert_mounted(again)
        self.assert_code(self.tarnctl.json("restore", made["id"]), 0)
        self.assertEqual(checksums(self.disk.point), self.content)
        self.umount(made)
        self.assert_at_rest()

    def test_unmounted_by_hand_or_after_a_reboot(self):
        made = self.made()
        kernel.umount(made["alternate"])
        self.umount(made)
        self.assert_at_rest()
        self.mount(made)
        kernel.umount(made["alternate"])
        subprocess.run(["losetup", "--detach", self.mount_device(made)], check=True)
        self.assertEqual(self.mount(made)["alternate"], made["alternate"])
        self.assert_mounted(made)

    def mount_device(self, made):
        nodes = self.tarnctl.json("show", made["id"]).json["nodes"]
        return [node["name"] for node in nodes if node["role"] == "snapshot-device"][0]

    def test_delete_of_one_at_rest(self):
        made = self.made("ext4")
        self.umount(made)
        self.delete(made)
        self.assertEqual(self.left_by_product(), [])

    def test_a_file_that_is_gone_or_another_one_is_not_mounted(self):
        made = self.made()
        self.umount(made)
        os.rename(self.copy, self.copy + ".away")
        self.assert_code(self.tarnctl.json("mount", made["id"]), 4, "No such file")
        write(self.copy, b"another one")
        self.assert_code(self.tarnctl.json("mount", made["id"]), 1, "is not the snapshot's file")
        self.assert_code(self.tarnctl.json("delete", made["id"]), 1, "is not the snapshot file")
        self.assertEqual(self.state(), [("unmounted", "")])
        os.rename(self.copy + ".away", self.copy)
        self.assert_mounted(self.mount(made))

    def test_a_file_system_that_was_exchanged_in_the_file_is_refused_at_once(self):
        made = self.made("ext4")
        self.umount(made)
        subprocess.run(["mkfs.ext4", "-q", "-F", self.copy], check=True)
        started = time.monotonic()
        self.assert_code(self.tarnctl.json("mount", made["id"]), 6, "the snapshot is of")
        self.assertLess(time.monotonic() - started, 80, "it was tried, patiently: with three pauses of 30 s")
        self.assert_at_rest()

    def test_unknown_and_gone_ones(self):
        for verb in ("mount", "umount", "export"):
            self.assert_code(self.tarnctl.json(verb, "unknown"), 4)
        made = self.made()
        self.delete(made)
        for verb in ("mount", "umount", "export"):
            self.assert_code(self.tarnctl.json(verb, made["id"]), 4, "gone")
