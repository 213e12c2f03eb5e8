"""format: a file system on a device that is nobody's; everything else is refused before a byte of it has changed."""
import hashlib
import os
import signal
import stat
import struct
import subprocess

import kernel
from device_case import DeviceCase
from road_case import write

FAILED, USAGE, NOT_FOUND, BUSY, UNSUPPORTED = 1, 2, 4, 5, 6


class FormatTest(DeviceCase):
    types = ("xfs", "ext2", "ext3")

    def format(self, *words, device=None):
        return self.tarnctl.json("format", device or self.device, *words)

    def made(self, *words):
        answer = self.format(*words)
        self.assert_code(answer, 0)
        self.assertEqual((answer.json["ok"], answer.json["warnings"]), (True, []), answer)
        return answer.json

    def blkid(self, tag):
        return subprocess.run(["blkid", "--probe", "-s", tag, "-o", "value", self.device], check=False, text=True,
                              stdout=subprocess.PIPE).stdout.strip()

    def refuse(self, code, *parts, words=("--type", "xfs"), device=None):
        before = self.beginning()
        self.assert_refused(None, code, *parts, words=["format", device or self.device, *words])
        self.assertEqual(self.beginning(), before, "the refused device was written")

    def beginning(self):
        with open(self.image, "rb") as file:
            return hashlib.sha256(file.read(1 << 20)).digest()

    # -- what it makes -------------------------------------------------------------------------------------------

    def test_makes_each_type_and_replaces_it_only_by_force(self):
        there = ""
        for fs_type in self.types:
            if there:
                self.refuse(FAILED, f"it holds {there}", "--force", words=("--type", fs_type))
            made = self.made("--type", fs_type, *(["--force"] if there else []))
            self.assertEqual((made["device"], made["type"], made["replaced"]), (self.device, fs_type, there))
            self.assertEqual((self.blkid("TYPE"), self.blkid("UUID")), (fs_type, made["uuid"]))
            with self.mounted(fs_type) as point:
                write(os.path.join(point, "file"))
            there = fs_type
        text = self.tarnctl.run("format", self.device, "--type", "ext3", "--force")
        self.assertRegex(text.out, rf"^{self.device}: ext3 made, UUID [-0-9a-f]+\n$")

    def test_options_reach_mkfs(self):
        self.made("--type", "xfs", "--option", "-b size=1024", "--option=-L x&y")
        self.assertEqual(self.blkid("LABEL"), "x&y")
        with self.mounted("xfs") as point:
            self.assertEqual(os.statvfs(point).f_bsize, 1024)

    def test_options_that_could_reach_another_device_are_refused(self):
        for option, why in (("-l logdev=/dev/sdz", 'a "/"'), ("-l logdev=sdz", "names another device"),
                            ("-J device=LABEL=x", "names another device"), ("sdz", 'begin with "-"'), ("-L \xe4", "ASCII")):
            self.refuse(USAGE, why, words=("--type", "xfs", "--option", option))

    def test_mkfs_that_fails_or_does_nothing_is_no_success(self):
        answer = self.format("--type", "xfs", "--option", "-b size=77")
        self.assert_code(answer, FAILED, "Invalid value 77", "/sbin/mkfs -t  xfs -f -b size=77")
        self.made("--type", "ext2")
        self.assert_code(self.format("--type", "ext2", "--force", "--option=-n"), FAILED, "still holds the ext2")
        self.assert_code(self.format("--type", "ext3", "--force", "--option=-n"), FAILED, "the device holds ext2")
        wiped = self.tarnctl.json("format", self.device, "--type", "ext3", "--force")
        self.assert_code(wiped, 0)

    def test_an_interruption_waits_for_the_end_and_a_second_one_is_refused(self):
        process, go_on = self.start_paused("spawn:/sbin/mkfs:1", "--json", "format", self.device, "--type", "ext2")
        self.assert_code(self.format("--type", "xfs"), BUSY, f"another tarnctl works on it: process {process.pid}")
        os.killpg(process.pid, signal.SIGINT)
        answer = go_on()
        self.assert_code(answer, 0)
        self.assertEqual((answer.json["warnings"], self.left_by_product()), ([], []))
        self.assertEqual(self.blkid("UUID"), answer.json["uuid"])

    # -- what it refuses -----------------------------------------------------------------------------------------

    def test_what_is_no_device_of_its_own(self):
        self.refuse(UNSUPPORTED, "it is no block device", device=self.image)
        self.refuse(NOT_FOUND, "No such file", device="/dev/tarnfi-test-none")
        self.refuse(USAGE, 'name it from "/" on', device=os.path.basename(self.device))
        os.symlink(self.device, self.room.at("a b"))
        self.refuse(UNSUPPORTED, "the name holds a blank", device=self.room.at("a b"))
        self.refuse(UNSUPPORTED, "it makes no file systems", "TARN::format not a supported type",
                    words=("--type", "ext4"))
        self.refuse(UNSUPPORTED, "it makes no file systems", words=("--type", "xfs -d /dev/sdz"))

    def test_a_device_that_somebody_else_could_exchange(self):
        folder, node = self.room.at("open"), self.room.at("open/node")
        os.mkdir(folder)
        os.mknod(node, stat.S_IFBLK | 0o600, os.stat(self.device).st_rdev)
        os.chmod(folder, 0o777)
        self.refuse(UNSUPPORTED, f"others may write to {folder} on its way and could exchange it", device=node)
        os.chmod(folder, 0o755)
        self.assert_code(self.tarnctl.json("format", node, "--type", "ext2"), 0)

    def test_mounted_here_and_in_another_name_space(self):
        self.made("--type", "ext2")
        with self.mounted("ext2") as point:
            self.refuse(BUSY, f"it is mounted at {point}", words=("--type", "xfs", "--force"))
            holder = self.start("sleep", "1000", preexec_fn=kernel.enter_private_mounts)  # has its own when this returns
        self.refuse(BUSY, f"it is mounted at {point} in the mount name space of process {holder.pid}",
                    words=("--type", "xfs", "--force"))

    def test_swapped_to_and_opened_exclusively(self):
        subprocess.run(["mkswap", self.device], check=True, stdout=subprocess.DEVNULL)
        self.refuse(FAILED, "it holds swap")
        subprocess.run(["swapon", self.device], check=True)
        try:
            self.refuse(BUSY, "it is swapped to", words=("--type", "xfs", "--force"))
        finally:
            subprocess.run(["swapoff", self.device], check=True)
        holder = os.open(self.device, os.O_RDONLY | os.O_EXCL)
        try:
            self.refuse(BUSY, "cannot be opened exclusively", words=("--type", "xfs", "--force"))
        finally:
            os.close(holder)

    def test_partitions(self):
        with open(self.device, "r+b") as disk:  # a table with one partition, from sector 2,048 on
            disk.seek(446)
            disk.write(struct.pack("<B3sB3sII", 0, b"", 0x83, b"", 2048, 200_000) + bytes(48) + b"\x55\xaa")
        self.refuse(FAILED, "it holds dos partition table")
        subprocess.run(["partx", "--add", self.device], check=True)
        try:
            self.refuse(BUSY, "it has partitions", words=("--type", "xfs", "--force"))
        finally:
            subprocess.run(["partx", "--delete", self.device], check=True)

    def test_a_device_or_file_that_a_loop_device_shows_too(self):
        other = self.attach(self.image)
        self.also_there = {f"attached: {other} over {self.image}"}
        self.refuse(BUSY, f"its file {self.image} is shown by {other}, too", words=("--type", "xfs", "--force"))
        subprocess.run(["losetup", "--detach", other], check=True)
        above = self.attach(self.device)
        self.refuse(BUSY, f"the loop device {above} shows it", words=("--type", "xfs", "--force"))
        subprocess.run(["losetup", "--detach", above], check=True)
        self.made("--type", "ext2")

    def test_a_read_only_and_an_empty_device(self):
        subprocess.run(["losetup", "--detach", self.device], check=True)
        self.device = self.attach(self.image, "--read-only")
        self.refuse(UNSUPPORTED, "the device is read-only", words=("--type", "xfs", "--force"))
        subprocess.run(["losetup", "--detach", self.device], check=True)
        self.refuse(UNSUPPORTED, "it holds nothing", words=("--type", "xfs", "--force"))

    def test_devices_of_a_snapshot(self):
        self.made("--type", "ext2")
        with self.mounted("ext2") as point:
            made = self.tarnctl.json("snapshot", point)
            self.assert_code(made, 0)
        answer = self.format("--type", "xfs", "--force")
        self.assert_code(answer, BUSY, f"it belongs to snapshot {made.json['id']}")
        answer = self.format("--type", "xfs", "--force", device=made.json["snapshotDevice"])
        self.assert_code(answer, BUSY, f"it is mounted at {made.json['alternate']}")
        self.delete(made.json)
        self.made("--type", "xfs", "--force")

    def test_a_missing_mkfs(self):
        nothing = self.room.at("nothing")
        write(nothing, b"")
        os.chmod(nothing, 0o600)
        kernel.mount(nothing, os.path.realpath("/sbin/mkfs.xfs"), options="bind")
        try:
            self.refuse(UNSUPPORTED, "mkfs.xfs is not installed")
        finally:
            kernel.umount(os.path.realpath("/sbin/mkfs.xfs"))
