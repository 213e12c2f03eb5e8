"""online: a device that nobody uses is mounted, with the options that it had, and repaired when it must be."""
import os
import signal
import subprocess

import kernel
import scratch
from device_case import DeviceCase
from road_case import read, write

FAILED, USAGE, NOT_FOUND, BUSY, UNSUPPORTED = 1, 2, 4, 5, 6


class OnlineTest(DeviceCase):
    types = ("xfs", "ext3")
    expected_trouble = r"ext4_convert_unwritten_extents_endio|EXT4-fs (error )?\((device )?loop"  # what is damaged on purpose

    def setUp(self):
        super().setUp()
        self.point = self.room.at("online")
        self.addCleanup(scratch.clear, self.room.folder)

    def make(self, fs_type):
        subprocess.run([*scratch.MKFS[fs_type], self.image], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    def online(self, *words, code=0):
        answer = self.tarnctl.json("online", self.device, self.point, *words)
        self.assert_code(answer, code)
        if code == 0:
            self.also_there = {f"mounted: {self.point}"}
        return answer.json

    def offline(self):
        kernel.umount(self.point)
        self.also_there = set()

    def options(self):
        (mount,) = (mount for mount in kernel.mounts(below=self.point) if mount.point == self.point)
        return mount.options

    def refuse(self, code, *parts, words=(), point=None, device=None):
        self.assert_refused(None, code, *parts,
                            words=["online", device or self.device, point or self.point, *words])

    def test_mounts_each_type_with_options_and_once(self):
        for fs_type in self.types:
            self.make(fs_type)
            made = self.online("--options", "noatime,nosuid")
            self.assertEqual((made["type"], made["device"], made["mountPoint"]), (fs_type, self.device, self.point))
            self.assertEqual((made["wasThere"], made["recordedIn"], made["warnings"]), (False, "", []))
            self.assertLessEqual({"rw", "noatime", "nosuid"}, self.options())
            write(os.path.join(self.point, "file"))
            self.assertTrue(self.online()["wasThere"])
            self.assertEqual(len(kernel.mounts(below=self.point)), 1)
            answer = self.tarnctl.json("online", self.device, self.room.at("elsewhere"))
            self.assert_code(answer, BUSY, f"it is mounted at {self.point}")
            self.assertFalse(os.path.exists(self.room.at("elsewhere")))
            self.offline()
        text = self.tarnctl.run("online", self.device, self.point)
        self.assertRegex(text.out, rf"^{self.device} mounted at {self.point} \(rw,")
        self.offline()

    def test_repairs_what_cannot_be_mounted(self):
        self.make("ext3")
        with self.mounted("ext3") as point:
            write(os.path.join(point, "file"), b"kept")
        subprocess.run(["debugfs", "-w", "-R", "clri <8>", self.image], check=True, stderr=subprocess.DEVNULL)
        with self.assertRaises(OSError):
            kernel.mount(self.device, self.room.folder, "ext3")
        answer = self.tarnctl.json("online", self.device, self.point)
        self.assert_code(answer, 0)
        self.assertEqual(read(os.path.join(self.point, "file")), b"kept")
        warnings = "\n".join(answer.json["warnings"])
        self.assertIn(f'mount command [/bin/mount  "{self.device}" "{self.point}"] failed', warnings)
        self.assertIn("warning: ", answer.err)
        self.offline()

    def test_with_the_options_that_a_snapshot_recorded(self):
        self.make("xfs")
        self.online("--options", "noatime,nodev,noexec")
        before = self.options()
        made = self.tarnctl.json("snapshot", self.point).json
        self.offline()
        again = self.online()
        self.assertEqual((again["recordedIn"], again["warnings"]), (made["id"], []))
        self.assertEqual(self.options(), before)
        self.offline()
        self.online("--options", "noatime")
        self.assertNotIn("nodev", self.options())
        answer = self.tarnctl.json("online", made["snapshotDevice"], self.room.at("copy"))
        self.assert_code(answer, BUSY, "it is mounted at")
        kernel.umount(made["alternate"])
        answer = self.tarnctl.json("online", made["snapshotDevice"], self.room.at("copy"))
        self.assert_code(answer, BUSY, f"it belongs to snapshot {made['id']}")
        self.delete(made)
        self.offline()

    def test_a_failure_names_the_command_and_leaves_nothing(self):
        self.make("xfs")
        self.refuse(FAILED, "with the options tarnfi_nonsense", "/bin/mount  -o tarnfi_nonsense",
                    words=("--options", "tarnfi_nonsense"))
        answer = self.tarnctl.json("online", self.device, self.point, "--options", "tarnfi_nonsense")
        self.assertFalse([text for text in answer.json["messages"] if '""' in text], answer)
        self.assertIn("mount command [/bin/mount", "\n".join(answer.json["trace"]))
        self.assertFalse(os.path.exists(self.point))
        os.mkdir(self.point)
        self.refuse(FAILED, words=("--options", "tarnfi_nonsense"))
        self.assertTrue(os.path.isdir(self.point), "it was there before")

    def test_what_must_not_be_mounted(self):
        self.refuse(UNSUPPORTED, "it holds no file system that can be recognised")
        subprocess.run(["mkswap", self.image], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.refuse(UNSUPPORTED, "it does not hold one file system, but swap")
        self.make("xfs")
        write(os.path.join(self.room.at("full"), "file"))
        self.refuse(UNSUPPORTED, "a directory with something in it", point=self.room.at("full"))
        self.refuse(NOT_FOUND, "its folder", point=self.room.at("none/deeper"))
        self.refuse(UNSUPPORTED, "the name holds a blank", point=self.room.at("a b"))
        self.refuse(UNSUPPORTED, 'must begin with "/"', point="relative")
        self.refuse(USAGE, "no blank", words=("--options", "rw, noatime"))
        self.refuse(UNSUPPORTED, "it is no block device", device=self.image)
        other = self.attach(self.image)
        self.also_there = {f"attached: {other} over {self.image}"}
        self.refuse(BUSY, "is shown by")

    def test_options_that_mount_something_else(self):
        self.make("ext3")
        for options in ("loop", "ro,offset=4096", "bind", "remount", "X-mount.subdir=lost+found"):
            self.refuse(USAGE, "something else than this device", words=("--options", options))

    def test_a_read_only_device_is_mounted_so_and_stays_as_it_is(self):
        self.make("ext3")
        subprocess.run(["losetup", "--detach", self.device], check=True)
        self.device = self.attach(self.image, "--read-only")
        self.online()
        self.assertIn("ro", self.options())
        made = self.tarnctl.json("snapshot", "--sync", self.point)
        self.assert_code(made, 0)
        self.delete(made.json)
        self.assertLessEqual({"ro"}, self.options())
        self.offline()
        subprocess.run(["debugfs", "-w", "-R", "clri <8>", self.image], check=True, stderr=subprocess.DEVNULL)
        self.refuse(FAILED, "also after a repair")

    def test_a_mount_point_that_cannot_be_made(self):
        self.make("ext3")
        self.refuse(FAILED, '"/proc/tarnfi-test" could not be made', point="/proc/tarnfi-test")

    def test_an_interruption_takes_the_mount_back(self):
        self.make("ext3")
        for number in (signal.SIGINT, signal.SIGTERM):
            process, go_on = self.start_paused("spawn:/bin/mount:1", "--json", "online", self.device, self.point)
            os.killpg(process.pid, number)
            answer = go_on()
            self.assert_code(answer, FAILED, "interrupted by")
            self.assertEqual((answer.json["undoing"], self.left_by_product()), ([], []))
            self.assertFalse(os.path.exists(self.point))
        self.online()
        self.offline()

    def test_two_at_one_mount_point(self):
        self.make("ext3")
        image = self.room.at("other.img")
        with open(image, "xb") as file:
            file.truncate(8 << 20)
        subprocess.run([*scratch.MKFS["ext2"], image], check=True)
        other = self.attach(image)
        self.also_there = {f"mounted: {self.point}", f"attached: {other} over {image}"}
        _, go_on = self.start_paused("spawn:/bin/mount:1", "online", self.device, self.point)
        answer = self.tarnctl.json("online", other, self.point)
        self.assert_code(answer, BUSY, "another tarnctl works on it")
        self.assert_code(go_on(), 0)
        (mount,) = kernel.mounts(below=self.point)
        self.assertEqual(mount.source, self.device)
        self.assert_code(self.tarnctl.json("online", other, self.point), BUSY, "is a mount point already")
        kernel.umount(self.point)
        self.also_there = {f"attached: {other} over {image}"}
