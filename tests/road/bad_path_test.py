"""Paths that cannot be snapshotted: a clear error before anything is touched."""
import os

import kernel
import scratch
from road_case import RoadCase, read, write

NOT_FOUND, BUSY, UNSUPPORTED = 4, 5, 6


class BadPathTest(RoadCase):
    types = ("xfs", "ext4")

    def tearDown(self):
        if getattr(self, "room", None) is not None:
            self.assertEqual(self.known(everything=True), [], "the catalog has a record of what never began")
        super().tearDown()

    def test_no_mount_point(self):
        disk = self.room.disk("xfs")
        os.mkdir(disk.at("folder"))
        write(disk.at("file"))
        self.assert_refused(self.room.at("missing"), NOT_FOUND, "No such file or directory")
        self.assert_refused(disk.at("folder"), NOT_FOUND, "is no mount point", disk.point)
        self.assert_refused(disk.at("file"), NOT_FOUND)
        self.assert_refused("relative", UNSUPPORTED, "must begin with")
        self.assert_refused("", UNSUPPORTED, "is empty")
        os.symlink(disk.point, self.room.at("link"))
        self.assert_refused(self.room.at("link"), NOT_FOUND, disk.point)

    def test_the_root_file_system(self):
        self.assert_refused("/", UNSUPPORTED, "never frozen")

    def test_tmpfs(self):
        point = self.room.at("memory")
        os.mkdir(point)
        kernel.mount("tarnfi-test", point, "tmpfs")
        try:
            self.assert_refused_there(point, UNSUPPORTED, "tmpfs")
            self.assertEqual(self.tarnctl.json("probe", point).code, UNSUPPORTED)
        finally:
            kernel.umount(point)

    def test_btrfs(self):
        reason = scratch.reason_to_skip("btrfs")
        if reason:
            self.skipTest(reason)
        disk = self.room.disk("btrfs")
        self.assert_refused(disk.point, UNSUPPORTED, "btrfs")
        self.assertEqual(self.tarnctl.json("probe", disk.point).code, UNSUPPORTED)

    def test_a_part_of_a_file_system(self):
        disk = self.room.disk("xfs")
        os.mkdir(disk.at("part"))
        point = self.room.at("bound")
        os.mkdir(point)
        kernel.mount(disk.at("part"), point, options="bind")
        try:
            self.assert_refused_there(point, UNSUPPORTED, "shows only /part")
        finally:
            kernel.umount(point)

    def test_an_over_mounted_origin(self):
        disk = self.room.disk("xfs")
        kernel.mount("tarnfi-test", disk.point, "tmpfs")
        try:
            self.assert_refused_there(disk.point, UNSUPPORTED, "2 mounts lie on it")
        finally:
            kernel.umount(disk.point)
        self.assertEqual(self.left_by_product(), [])

    def test_an_origin_below_another_mount(self):
        disk = self.room.disk("xfs", point=self.room.at("above/data"))
        kernel.mount("tarnfi-test", self.room.at("above"), "tmpfs")
        try:
            self.assert_refused_there(disk.point, UNSUPPORTED, "hidden by the mount on")
        finally:
            kernel.umount(self.room.at("above"))

    def test_a_deleted_image(self):
        disk = self.room.disk("ext4")
        os.unlink(disk.image)
        self.assert_refused_there(disk.point, UNSUPPORTED, "no volume provider claims")

    def test_an_image_that_was_replaced(self):
        disk = self.room.disk("ext4")
        os.unlink(disk.image)
        write(disk.image, b"another file")
        self.assert_refused_there(disk.point, UNSUPPORTED, "no volume provider claims")
        self.assertEqual(read(disk.image), b"another file")

    def assert_refused_there(self, path, code, *parts):
        """Refused while the test itself has more mounted than its disks."""
        for words in (["snapshot", path], ["run", path, "--", "true"]):
            answer = self.tarnctl.json(*words)
            self.assert_code(answer, code, *parts)
            self.assertEqual(answer.json["undoing"], [])
        self.assertEqual(kernel.processes(mentioning=self.tarnctl.program), {})
        self.assertEqual(kernel.loop_devices(containing=self.room.folder + "/data.img.tarnfi-"), {})
