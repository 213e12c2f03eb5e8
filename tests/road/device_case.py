"""A device of a test's own with nothing on it: for verbs that take devices."""
import contextlib
import os
import subprocess

import kernel
from road_case import RoadCase

_SIZE = 320 << 20  # xfs takes no less than 300 MiB


class DeviceCase(RoadCase):
    # Said of the file system below the image, which has none of what is tested here.
    expected_trouble = "ext4_convert_unwritten_extents_endio"

    def setUp(self):
        super().setUp()
        self.also_there = set()  # what the test itself has mounted or attached
        self.image = self.room.at("disk.img")
        with open(self.image, "xb") as file:
            file.truncate(_SIZE)
        self.device = self.attach(self.image)

    def attach(self, image, *words):
        device = subprocess.run(["losetup", "--find", "--show", *words, image], check=True, text=True,
                                stdout=subprocess.PIPE).stdout.strip()
        self.addCleanup(subprocess.run, ["losetup", "--detach", device], check=False, stderr=subprocess.DEVNULL)
        return device

    def _look_for_leftovers(self):
        ours = {f"attached: {self.device} over {self.image}", *self.also_there}
        return [left for left in super()._look_for_leftovers() if left not in ours] + \
            [f"there: /{name}" for name in os.listdir("/") if name.startswith("tmp_")]

    @contextlib.contextmanager
    def mounted(self, fs_type):
        point = self.room.at("mounted")
        os.makedirs(point, exist_ok=True)
        kernel.mount(self.device, point, fs_type)
        self.also_there = {f"mounted: {point}"}
        try:
            yield point
        finally:
            self.also_there = set()
            kernel.umount(point)
