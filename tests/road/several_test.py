"""Several snapshots at once: of one origin, of several, and of a snapshot's own origin while another is made."""
import os

import kernel
import tarnctl
from road_case import RoadCase, read, write


class SeveralTest(RoadCase):
    types = ("xfs", "ext4")

    def test_two_of_one_origin_lie_at_alt_and_alt0(self):
        for fs_type in self.types:
            disk = self.room.disk(fs_type, fs_type)
            write(disk.at("file"), b"first")
            first = self.snapshot(disk)
            write(disk.at("file"), b"second")
            second = self.snapshot(disk)
            write(disk.at("file"), b"third")
            self.assertEqual(first["alternate"], disk.point + "_alt")
            self.assertEqual(second["alternate"], disk.point + "_alt0")
            self.assertEqual(read(os.path.join(first["alternate"], "file")), b"first")
            self.assertEqual(read(os.path.join(second["alternate"], "file")), b"second")
            self.delete(first)
            self.assertEqual(read(os.path.join(second["alternate"], "file")), b"second")
            third = self.snapshot(disk)
            self.assertEqual(third["alternate"], disk.point + "_alt", "a free name is not used again")
            self.assertEqual(read(os.path.join(third["alternate"], "file")), b"third")
            self.delete(second)
            self.delete(third)

    def test_a_second_tarnctl_on_the_same_file_system_is_busy(self):
        disk = self.room.disk("xfs")
        process, go_on = self.start_paused("ioctl:4c0a:1", "--json", "snapshot", disk.point)
        for words in (["snapshot", disk.point], ["run", disk.point, "--", "true"]):
            answer = self.tarnctl.json(*words)
            self.assert_code(answer, 5, "another tarnctl", str(process.pid))
        made = go_on()
        self.assert_code(made, 0)
        self.assertEqual(len(self.known()), 1)
        self.delete(made.json)

    def test_a_delete_beside_a_snapshot_of_the_same_file_system_is_busy(self):
        disk = self.room.disk("xfs")
        first = self.snapshot(disk)
        _, go_on = self.start_paused("ioctl:4c0a:1", "--json", "snapshot", disk.point)
        self.assert_code(self.tarnctl.run("delete", first["id"]), 5, "another tarnctl")
        second = go_on()
        self.assert_code(second, 0)
        self.delete(first)
        self.delete(second.json)

    def test_another_catalog_does_not_get_around_the_lock(self):
        disk = self.room.disk("xfs")
        _, go_on = self.start_paused("ioctl:4c0a:1", "--json", "snapshot", disk.point)
        other = tarnctl.Tarnctl(self.build, self.room.at("catalog/other.db"))
        self.assert_code(other.run("snapshot", disk.point), 5, "another tarnctl")
        self.delete(go_on().json)

    def test_different_file_systems_do_not_wait_for_each_other(self):
        one, other = self.room.disk("xfs", "one"), self.room.disk("ext4", "other")
        _, go_on = self.start_paused("ioctl:40049409:2", "--json", "snapshot", one.point)  # frozen, to be cloned
        self.delete(self.snapshot(other))
        self.delete(go_on().json)

    def test_a_snapshot_is_a_file_system_that_can_be_mounted_over_and_over(self):
        disk = self.room.disk("xfs")
        for _ in range(5):
            self.delete(self.snapshot(disk))
        self.assertEqual(self.known(), [])
        self.assertEqual(len(self.known(everything=True)), 5)
        self.assertEqual(len(kernel.loop_devices(containing=disk.image)), 1)
