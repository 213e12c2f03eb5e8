"""restore ID: what cannot end well is refused before users are ended, anything is unmounted, or a byte is written."""
import os
import shutil
import subprocess

import kernel
from restore_case import SPOILED, RestoreCase
from road_case import read


class RestoreRefusedTest(RestoreCase):
    types = ("xfs", "ext4")

    def setUp(self):
        super().setUp()
        self.prepare("ext4")
        self.provide_fuser()

    def run_quietly(self, *words):
        subprocess.run(words, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def test_an_image_that_has_grown_or_shrunk(self):
        length = os.path.getsize(self.disk.image)
        os.truncate(self.disk.image, length + 4096)
        self.assert_untouched("has grown", code=1)
        os.truncate(self.disk.image, length)
        self.assert_restored()

    def test_an_immutable_image(self):
        self.run_quietly("chattr", "+i", self.disk.image)
        self.addCleanup(subprocess.run, ["chattr", "-i", self.disk.image], check=False, stderr=subprocess.DEVNULL)
        self.assert_untouched("Operation not permitted", code=1)
        self.run_quietly("chattr", "-i", self.disk.image)
        self.assert_restored()

    def test_another_file_in_the_images_place(self):
        os.rename(self.disk.image, self.disk.image + ".away")
        shutil.copy(self.disk.image + ".away", self.disk.image)
        self.assert_untouched("was replaced", code=1)
        os.rename(self.disk.image + ".away", self.disk.image)
        self.assert_restored()

    def test_another_device_over_the_image(self):
        second = self.losetup("--find", "--show", self.disk.image)
        self.assert_untouched("is attached to", code=5)
        self.losetup("--detach", second)
        self.assert_restored()

    def test_a_snapshot_file_that_is_missing_or_another_one(self):
        away = self.disk.image + ".away"
        os.rename(self.copy, away)
        self.assert_untouched("is not there", code=1)
        with open(self.copy, "wb") as file:
            file.truncate(os.path.getsize(away))
        self.assert_untouched("is not the snapshot file", code=1)
        os.rename(away, self.copy)
        self.assert_restored()

    def test_a_snapshot_that_is_written_to(self):
        self.run_quietly("mount", "-o", "remount,rw", self.made["alternate"])
        self.assert_untouched("is mounted for writing", code=5)
        self.run_quietly("mount", "-o", "remount,ro", self.made["alternate"])
        self.assert_restored()

    def test_the_image_of_another_device_on_the_origin(self):
        with open(self.disk.at("image"), "wb") as file:
            file.truncate(1 << 20)
        inner = self.losetup("--find", "--show", self.disk.at("image"))
        self.assert_untouched(f"the image of {inner} lies on it", code=5)
        self.losetup("--detach", inner)
        self.assert_restored()

    def test_a_swap_file_on_the_origin(self):
        swap = self.disk.at("swap")
        with open(swap, "wb") as file:
            file.write(bytes(1 << 20))
        os.chmod(swap, 0o600)
        self.run_quietly("mkswap", swap)
        if subprocess.run(["swapon", swap], check=False, stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this machine does not swap")
        self.addCleanup(subprocess.run, ["swapoff", swap], check=False, stderr=subprocess.DEVNULL)
        self.assert_untouched("there is swapped to", code=5)
        self.run_quietly("swapoff", swap)
        self.assert_restored()

    def test_a_mount_below_the_origin(self):
        os.mkdir(self.disk.at("below"))
        kernel.mount("none", self.disk.at("below"), "tmpfs")
        self.assert_untouched("is mounted below it", code=5)
        kernel.umount(self.disk.at("below"))
        self.assert_restored()

    def test_a_layer_of_an_overlay_on_the_origin(self):
        point = self.room.at("overlay")
        os.mkdir(point)
        kernel.mount("none", point, "overlay", f"lowerdir={self.disk.at('folder')}:/usr/sbin")
        self.assert_untouched("the overlay at", code=5)
        kernel.umount(point)
        self.assert_restored()

    def test_a_second_mount_of_the_origin(self):
        point = self.room.at("second")
        os.mkdir(point)
        kernel.mount(self.disk.point, point, options="bind")
        self.assert_untouched("it is mounted at", code=5)
        kernel.umount(point)
        self.assert_restored()

    def test_a_second_mount_of_the_snapshot(self):
        point = self.room.at("second")
        os.mkdir(point)
        kernel.mount(self.made["alternate"], point, options="bind")
        self.restore(code=5, parts=[f"it is mounted at {point}"])
        self.assertEqual(read(self.disk.at("old")), SPOILED)
        self.assertEqual(self.unfinished(), [])
        kernel.umount(point)
        self.assert_restored()

    def test_a_mount_in_another_name_space(self):
        other = self.start("unshare", "--mount", "--propagation", "private", "sleep", "600")
        while not os.path.exists(f"/proc/{other.pid}/ns/mnt") or os.readlink(
                f"/proc/{other.pid}/ns/mnt") == os.readlink("/proc/self/ns/mnt"):
            self.assertIsNone(other.poll())
        self.assert_untouched("in the mount name space of process", code=5)
        other.kill()
        other.wait()
        self.assert_restored()

    def test_an_origin_that_somebody_has_frozen(self):
        self.assertEqual(kernel.freeze(self.disk.point), 0)
        self.restore(code=5, parts=["somebody has frozen it"])
        self.restore("--force", code=5, parts=["somebody has frozen it"])
        self.assertEqual(kernel.thaw(self.disk.point), 0)
        self.assert_restored()

    def test_a_process_above_ours_that_uses_it(self):
        script = 'cd "$1" && cd / && exec 9<"$1/old" && "$2" --json restore --force "$3"'
        done = subprocess.run(["sh", "-c", script + "; exit $?", "sh", self.disk.point, self.tarnctl.program,
                               self.made["id"]], check=False, capture_output=True, text=True,
                              env=self.tarnctl.environment())
        self.assertEqual(done.returncode, 6, done)
        self.assertFalse(self.is_restored())
