"""restore ID: the origin's content, options and device are what they were when the snapshot was made."""
import os
import shutil
import signal
import subprocess

import kernel
from restore_case import FILES, SPOILED, RestoreCase, mount_line
from road_case import read, write


class RestoreTest(RestoreCase):
    types = ("xfs", "ext4", "ext3")

    def restore_and_look(self, fs_type, options=""):
        self.prepare(fs_type, options)
        before = [line.split()[5:] for line in mount_line(self.disk.point)]
        for _ in range(2):  # the snapshot stays usable
            answer = self.assert_restored()
            self.assertEqual(answer, {"ok": True, "id": self.made["id"], "mountPoint": self.disk.point,
                                      "device": self.disk.device, "mounted": True, "wasUnfinished": False,
                                      "warnings": []})
            self.assertEqual([line.split()[5:] for line in mount_line(self.disk.point)], before)
            self.assertEqual(read(os.path.join(self.made["alternate"], "old")), FILES["old"])
            self.spoil()
        self.assertEqual([one["state"] for one in self.known()], ["ready"])

    def test_content_comes_back_on_xfs(self):
        self.restore_and_look("xfs")

    def test_content_comes_back_on_ext4(self):
        self.restore_and_look("ext4")

    def test_content_and_options_come_back_on_ext3(self):
        self.restore_and_look("ext3", "sync,nosuid,nodev,noatime")

    def test_options_of_xfs_come_back(self):
        self.restore_and_look("xfs", "sync,noexec")

    def test_the_options_are_those_of_now(self):
        self.prepare("ext4")
        subprocess.run(["mount", "-o", "remount,sync,noexec", self.disk.point], check=True)
        self.assert_restored()
        words = mount_line(self.disk.point)[0].strip().replace(" ", ",").split(",")
        self.assertLessEqual({"sync", "noexec"}, set(words))

    def test_the_text_answer_names_the_place(self):
        self.prepare("ext4")
        answer = self.tarnctl.run("restore", self.made["id"])
        self.assert_code(answer, 0, self.made["id"], self.disk.device, self.disk.point)
        self.assertTrue(self.is_restored())

    def test_a_copy_where_files_cannot_be_cloned(self):
        self.room.use_plain_store()
        self.prepare("ext4")
        self.assert_restored()

    def test_an_origin_that_is_not_mounted_stays_so(self):
        self.prepare("ext4")
        kernel.umount(self.disk.point)  # its device goes with it
        answer = self.restore()
        self.assertFalse(answer["mounted"])
        self.assertEqual(mount_line(self.disk.point), [])
        device = self.losetup("--find", "--show", self.disk.image)
        kernel.mount(device, self.disk.point, "ext4")
        self.losetup("--detach", device)
        self.assertTrue(self.is_restored())

    def test_an_origin_under_another_number(self):
        self.prepare("ext4")
        kernel.umount(self.disk.point)
        other = self.room.at("other.img")
        with open(other, "wb") as file:
            file.truncate(1 << 20)
        self.losetup(self.disk.device, other)  # the recorded one is somebody else's now
        device = self.losetup("--find", "--show", self.disk.image)
        self.assertNotEqual(device, self.disk.device)
        kernel.mount(device, self.disk.point, "ext4")
        self.losetup("--detach", device)
        self.assertEqual(self.assert_restored()["device"], device)
        self.losetup("--detach", self.disk.device)
        os.unlink(other)

    def test_a_busy_origin_is_left_alone_without_force(self):
        self.prepare()
        user = self.start("sleep", "600", cwd=self.disk.point)
        before = mount_line(self.disk.point)
        self.restore(code=5, parts=[f"{user.pid} (sleep)"])
        self.assertEqual(mount_line(self.disk.point), before)
        self.assertIsNone(user.poll())
        self.assertEqual(read(self.disk.at("old")), SPOILED)
        self.assertEqual(self.unfinished(), [])
        user.kill()
        user.wait()
        self.assert_restored()

    def test_force_ends_the_users(self):
        self.prepare("ext4")
        self.provide_fuser()
        mild = self.start("sleep", "600", cwd=self.disk.point)
        with open(self.disk.at("old"), "rb") as held:
            stubborn = self.start("sh", "-c", "trap '' TERM; while :; do sleep 1; done", cwd=self.disk.point,
                                  stdout=subprocess.DEVNULL)
            outside = self.start("sleep", "600")
            held.close()
            self.assert_restored("--force")
        self.assertEqual(mild.wait(5), -signal.SIGTERM)
        self.assertEqual(stubborn.wait(5), -signal.SIGKILL)
        self.assertIsNone(outside.poll())

    def test_force_is_tried_again_until_the_users_are_gone(self):
        """Twice its users have only been told to go when fuser is back, and the third time it finds nobody: the file
        system is busy, or the command has failed, and neither is the end."""
        self.prepare("ext4")
        calls = self.room.at("calls")
        self.provide_fuser(f'#!/bin/sh\necho "$@" >> {calls}\n'
                           f'case $(wc -l < {calls}) in 1 | 2) exit 0;; 3) exit 1;; esac\nexec /usr/bin/fuser "$@"\n')
        user = self.start("sleep", "600", cwd=self.disk.point)
        self.assert_restored("--force")
        self.assertIn(user.wait(5), (-signal.SIGTERM, -signal.SIGKILL))
        signals = [line.split()[0] for line in read(calls).decode().splitlines()]
        self.assertEqual(signals[:4], ["-15", "-9", "-15", "-15"])

    def test_force_without_users_ends_nobody(self):
        self.prepare("xfs")
        self.provide_fuser()
        self.assert_restored("--force")

    def test_force_without_fuser_is_refused_before_anything(self):
        if os.access("/sbin/fuser", os.X_OK):
            self.skipTest("this machine has /sbin/fuser")
        self.prepare("ext4")
        user = self.start("sleep", "600", cwd=self.disk.point)
        self.restore("--force", code=6, parts=["/sbin/fuser", "ln -s /usr/bin/fuser"])
        self.assertIsNone(user.poll())
        user.kill()
        user.wait()
        self.assert_restored()

    def test_another_snapshot_stays_what_it_is(self):
        self.prepare("ext4")
        second = self.snapshot(self.disk)
        self.assert_restored()
        self.assertEqual(read(os.path.join(second["alternate"], "old")), SPOILED)
        answer = self.tarnctl.json("restore", second["id"])
        self.assert_code(answer, 0)
        self.assertEqual(read(self.disk.at("old")), SPOILED)
        self.delete(second)

    def test_a_snapshot_that_is_not_whole_is_refused(self):
        self.prepare("ext4")
        for column, value, code in (("consistency", "undecided", 6), ("consistency", "broken", 6),
                                    ("state", "making", 6), ("state", "deleting", 6)):
            self.say_in_catalog(column, value)
            self.restore(code=code)
            self.say_in_catalog("consistency", "frozen")
            self.say_in_catalog("state", "ready")
        self.assertFalse(self.is_restored())
        self.say_in_catalog("consistency", "broken")
        self.assert_restored("--despite-broken", "no other copy is left")

    def test_an_unknown_and_a_deleted_one_are_refused(self):
        self.prepare("ext4")
        for bad in ("unknown", "", "../x"):
            self.assert_code(self.tarnctl.json("restore", "--", bad), 4)
        self.delete(self.made)
        self.restore(code=6)

    def test_the_programs_own_folder_on_it_is_refused(self):
        self.prepare("ext4")
        answer = self.tarnctl.json("restore", self.made["id"], cwd=self.disk.point)
        self.assert_code(answer, 6, "the working directory lies on it")
        self.tarnctl.catalog, old = self.disk.at("catalog/c.db"), self.tarnctl.catalog
        os.mkdir(self.disk.at("catalog"), 0o700)
        for name in os.listdir(os.path.dirname(old)):
            shutil.copy(os.path.join(os.path.dirname(old), name), self.disk.at("catalog"))
        os.rename(self.disk.at("catalog/snapshots.db"), self.tarnctl.catalog)
        self.restore(code=6, parts=["the catalog lies on it"])
        self.tarnctl.catalog = old
        self.assertFalse(self.is_restored())
        write(self.disk.at("still"), b"writable")
