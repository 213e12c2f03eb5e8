"""What the tests of restore stand on: a file system with files, its snapshot, and what has changed since."""
import contextlib
import os
import signal
import sqlite3
import subprocess

import kernel
from road_case import RoadCase, read, write

FILES = {"old": b"as it was\n" * 1000, "folder/deep": os.urandom(300_000), "empty": b""}
SPOILED = b"not as it was"


def mount_line(point):
    """The mount's line in the table, its id included: unmounted and mounted again it is another one."""
    with open("/proc/self/mountinfo", encoding="utf-8") as table:
        return [line for line in table if line.split()[4] == point]


class RestoreCase(RoadCase):
    def prepare(self, fs_type="xfs", options=""):
        self.disk = self.room.disk(fs_type)
        if options:
            with open(self.disk.device, "rb"):  # it would go with its mount
                kernel.umount(self.disk.point)
                subprocess.run(["mount", "-o", options, self.disk.device, self.disk.point], check=True)
        for name, content in FILES.items():
            write(self.disk.at(name), content)
        self.made = self.snapshot(self.disk)
        self.copy = f"{self.disk.image}.tarnfi-{self.made['id']}"
        self.spoil()

    def spoil(self):
        write(self.disk.at("old"), SPOILED)
        write(self.disk.at("new"), b"x" * 100_000)
        os.unlink(self.disk.at("folder/deep"))
        os.sync()

    def tearDown(self):
        if getattr(self, "made", None) is not None:
            self.assert_code(self.tarnctl.run("delete", self.made["id"]), 0)
        super().tearDown()

    def is_restored(self):
        return not os.path.exists(self.disk.at("new")) and all(
            os.path.exists(self.disk.at(name)) and read(self.disk.at(name)) == content
            for name, content in FILES.items())

    def restore(self, *words, code=0, parts=()):
        answer = self.tarnctl.json("restore", self.made["id"], *words)
        self.assert_code(answer, code, *parts)
        return answer.json

    def assert_restored(self, *words):
        answer = self.restore(*words)
        self.assertTrue(self.is_restored())
        self.assertEqual(answer["warnings"], [])
        self.assertEqual(self.unfinished(), [])
        return answer

    def unfinished(self):
        """The names of the restore's steps that are not over."""
        answer = self.tarnctl.json("show", self.made["id"])
        return [step["name"] for step in answer.json["steps"]
                if (step["name"] == "disable" and step["state"] in ("intended", "done"))
                or (step["name"] == "restore" and step["state"] == "intended")]

    def assert_untouched(self, *parts, code, words=()):
        """It is refused, by force too, before anything was done: the mount is the same one, its user lives, and what
        was written since the snapshot is there."""
        before = mount_line(self.disk.point)
        user = self.start("sleep", "600", cwd=self.disk.point) if before else None
        for more in ([], ["--force"]):
            answer = self.restore(*words, *more, code=code, parts=parts)
            self.assertFalse(answer["ok"])
            self.assertEqual(answer["undoing"], [], answer)
            self.assertEqual(mount_line(self.disk.point), before)
            self.assertEqual(self.unfinished(), [])
        if user is not None:
            self.assertIsNone(user.poll(), "its user was ended in vain")
            user.send_signal(signal.SIGKILL)
            user.wait()
        self.assertEqual(read(self.disk.at("old")), SPOILED)

    def say_in_catalog(self, column, value):
        with contextlib.closing(sqlite3.connect(self.tarnctl.catalog)) as catalog, catalog:
            catalog.execute(f"UPDATE snapshots SET {column} = ? WHERE id = ?", (value, self.made["id"]))

    def provide_fuser(self, script=None):
        """/sbin/fuser, where the machine has it elsewhere, for the time of the test; or this script in its place."""
        if script is None and os.access("/sbin/fuser", os.X_OK):
            return
        if not os.access("/usr/bin/fuser", os.X_OK):
            self.skipTest("needs fuser")
        folder = self.room.at("sbin")
        os.mkdir(folder)
        if script is None:
            os.symlink("/usr/bin/fuser", os.path.join(folder, "fuser"))
        else:
            write(os.path.join(folder, "fuser"), script.encode())
            os.chmod(os.path.join(folder, "fuser"), 0o755)
        real = os.path.realpath("/sbin")
        kernel.mount("none", real, "overlay", f"lowerdir={folder}:{real}")
        self.addCleanup(kernel.umount, real)

    def losetup(self, *words):
        return subprocess.run(["losetup", *words], check=True, capture_output=True, text=True).stdout.strip()
