"""Full and read-only disks, below the image and below the catalog; files of ours on what is to be frozen."""
import errno
import os
import shutil

import kernel
import tarnctl
from road_case import RoadCase, read, write

FAILED, UNSUPPORTED = 1, 6
MIB = 1 << 20


def fill(folder, leave=0):
    """Writes until the file system is full, then gives `leave` bytes back."""
    path = os.path.join(folder, "ballast")
    with open(path, "wb", buffering=0) as file:
        size = MIB
        while size >= 512:
            try:
                if file.write(b"b" * size) < size:
                    size //= 2
            except OSError as error:
                if error.errno != errno.ENOSPC:
                    raise
                size //= 2
        file.truncate(max(0, file.tell() - leave))
        os.fsync(file.fileno())


class BadDiskTest(RoadCase):
    types = ("xfs", "ext4")
    expected_trouble = "EXT4-fs warning .*ext4_convert_unwritten_extents_endio"  # of a disk that is filled to the brim

    def assert_untouched(self, disk):
        self.assertEqual(self.left_by_product(), [])
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assertEqual(read(disk.at("file")), b"content")

    def small_disk_for_catalog(self):
        """A small file system with a catalog on it that works; the tarnctl that uses it."""
        small = self.room.disk("ext4", "small", folder=self.room.folder, size=16 * MIB, mkfs=["-m", "0"])
        os.mkdir(small.at("catalog"), 0o700)
        return small, tarnctl.Tarnctl(self.build, small.at("catalog/snapshots.db"))

    def test_no_room_for_the_copy_below_the_image(self):
        store = self.room.disk("ext4", "plain", folder=self.room.folder, size=256 * MIB)
        disk = self.room.disk("ext4", folder=store.point, size=128 * MIB)
        write(disk.at("file"))
        write(disk.at("large"), os.urandom(100 * MIB))
        os.sync()
        fill(store.point, leave=30 * MIB)
        answer = self.tarnctl.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, "a copy of", "needs")
        self.assertEqual(answer.json["undoing"], [])
        self.assertEqual(self.known(), [])
        self.assert_untouched(disk)
        os.unlink(store.at("ballast"))
        self.assert_works(disk)

    def test_a_completely_full_disk_below_the_image(self):
        store = self.room.disk("xfs", "full", folder=self.room.folder, size=400 * MIB, mkfs=["-m", "reflink=1"])
        disk = self.room.disk("ext4", folder=store.point, size=64 * MIB)
        write(disk.at("file"))
        os.sync()
        fill(store.point)
        answer = self.tarnctl.json("snapshot", disk.point)
        if answer.code == 0:  # a clone needs no data blocks; whether its own few fit is the file system's affair
            self.delete(answer.json)
        else:
            self.assert_code(answer, FAILED, "No space left")
        self.assertEqual(self.known(), [])
        self.assert_untouched(disk)

    def test_a_full_disk_below_the_catalog(self):
        small, program = self.small_disk_for_catalog()
        disk = self.room.disk("xfs")
        write(disk.at("file"))
        first = program.json("snapshot", disk.point)
        self.assert_code(first, 0)
        fill(small.point)
        answer = program.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, small.point)
        self.assertEqual(kernel.thaw(disk.point), errno.EINVAL)
        self.assertEqual(len(kernel.loop_devices(containing=disk.image)), 2, "the failed snapshot left a device")
        os.unlink(small.at("ballast"))
        for known in program.json("list").json["snapshots"]:  # what could not be written as undone is undone again
            self.assert_code(program.run("delete", known["id"]), 0)
        self.assertEqual(program.json("list").json["snapshots"], [])
        self.assert_untouched(disk)

    def test_a_full_disk_below_a_new_catalog(self):
        small, program = self.small_disk_for_catalog()
        fill(small.point)
        disk = self.room.disk("xfs")
        write(disk.at("file"))
        self.assert_code(program.json("snapshot", disk.point), FAILED, small.point)
        self.assert_untouched(disk)
        os.unlink(small.at("ballast"))
        self.assert_code(program.json("list"), 0)

    def test_a_read_only_catalog(self):
        small, program = self.small_disk_for_catalog()
        disk = self.room.disk("xfs")
        write(disk.at("file"))
        self.assert_code(program.json("list"), 0)
        kernel.mount(small.device, small.point, options="remount,ro")
        answer = program.json("snapshot", disk.point)
        self.assert_code(answer, FAILED, small.point)
        self.assertIn("can only be read", answer.json["cause"])
        self.assert_untouched(disk)

    def test_a_catalog_that_others_may_write(self):
        disk = self.room.disk("xfs")
        self.assert_works(disk)
        for path, mode in ((self.tarnctl.catalog, 0o666), (os.path.dirname(self.tarnctl.catalog), 0o777)):
            before = os.stat(path).st_mode
            os.chmod(path, mode)
            self.assert_refused(disk.point, UNSUPPORTED)
            os.chmod(path, before)
        self.assert_works(disk)

    def test_a_catalog_that_is_none(self):
        disk = self.room.disk("xfs")
        for content in (b"not a database, by no means" * 1000, b"SQLite format 3\0" + b"\xff" * 5000):
            write(self.tarnctl.catalog, content)
            os.chmod(self.tarnctl.catalog, 0o600)
            self.assert_refused(disk.point, FAILED, "")
            self.assertEqual(read(self.tarnctl.catalog), content, "it was overwritten")
        os.unlink(self.tarnctl.catalog)
        os.mkdir(self.tarnctl.catalog)
        self.assert_refused(disk.point, UNSUPPORTED, "")
        os.rmdir(self.tarnctl.catalog)

    def test_the_catalog_on_the_file_system_to_be_frozen(self):
        disk = self.room.disk("xfs")
        os.mkdir(disk.at("catalog"), 0o700)
        program = tarnctl.Tarnctl(self.build, disk.at("catalog/snapshots.db"))
        self.assert_code(program.json("snapshot", disk.point), UNSUPPORTED, "the catalog")
        self.assertEqual(program.json("list").json["snapshots"], [])

    def test_the_catalog_in_an_image_on_the_file_system_to_be_frozen(self):
        outer = self.room.disk("xfs", "outer", folder=self.room.folder, size=600 * MIB)
        inner = self.room.disk("ext4", "inner", folder=outer.point, size=64 * MIB)
        os.mkdir(inner.at("catalog"), 0o700)
        program = tarnctl.Tarnctl(self.build, inner.at("catalog/snapshots.db"))
        self.assert_code(program.json("snapshot", outer.point), UNSUPPORTED, "the catalog")

    def test_the_trace_file_on_the_file_system_to_be_frozen(self):
        disk = self.room.disk("xfs")
        self.assert_refused(disk.point, UNSUPPORTED, "the trace file", environment={"ZFI_TRACE_FILE": disk.at("trace")})

    def test_a_provider_on_the_file_system_to_be_frozen(self):
        disk = self.room.disk("xfs")
        for name in os.listdir(os.path.join(self.build, "lib")):
            shutil.copy(os.path.join(self.build, "lib", name), disk.at(name))
        words = ["--provider-path", disk.point, "snapshot", disk.point]
        self.assert_refused(disk.point, UNSUPPORTED, "which would be frozen", words=words)
        for name in ("libtarnfi.so", "libloopfi.so"):
            os.unlink(disk.at(name))
        self.assert_works(disk)

    def test_the_caller_may_stand_on_the_file_system_to_be_frozen(self):
        disk = self.room.disk("xfs")
        write(disk.at("file"))
        made = self.snapshot(disk, cwd=disk.point)
        answer = self.tarnctl.json("run", disk.point, "--", "pwd", cwd=disk.point)
        self.assert_code(answer, 0, disk.point)
        self.assert_code(self.tarnctl.json("delete", made["id"], cwd=disk.point), 0)
        self.assert_untouched(disk)

    def test_a_catalog_named_from_where_the_caller_stands(self):
        disk = self.room.disk("xfs")
        os.mkdir(disk.at("catalog"), 0o700)
        os.mkdir(self.room.at("there"), 0o700)
        for folder, code in ((self.room.at("there"), 0), (disk.at("catalog"), UNSUPPORTED)):
            environment = {"TARNFI_CATALOG": "snapshots.db"}
            answer = self.tarnctl.json("snapshot", disk.point, environment=environment, cwd=folder)
            self.assert_code(answer, code)
            self.assertTrue(os.path.exists(os.path.join(folder, "snapshots.db")))
            for known in self.tarnctl.json("list", environment=environment, cwd=folder).json["snapshots"]:
                self.assert_code(self.tarnctl.run("delete", known["id"], environment=environment, cwd=folder), 0)
