"""What is in a snapshot: the origin at one instant, while it goes on changing."""
import hashlib
import os
import time

from records import check_records
from road_case import RoadCase, read, write


class ContentTest(RoadCase):
    types = ("xfs", "ext2", "ext3", "ext4")

    def prove(self, fs_type, *, folder=None):
        disk = self.room.disk(fs_type, folder=folder)
        sums = {}
        for number in range(20):
            content = os.urandom(5000 * (number + 1))
            write(disk.at(f"static/{number}"), content)
            sums[f"static/{number}"] = hashlib.sha256(content).hexdigest()
        for name in ("grows", "shrinks", "is-deleted", "is-renamed", "is-overwritten"):
            write(disk.at(name), b"before " * 1000)
        log = self.room.at("log")
        writer = self.start(os.path.join(self.build, "tests/record_writer"), disk.at("records"), log)
        time.sleep(0.3)
        made = self.snapshot(disk)
        self.assertEqual((made["type"], made["consistency"]), (fs_type, "frozen"))
        self.change(disk)
        time.sleep(0.3)
        proof = check_records(os.path.join(made["alternate"], "records"), log, made["frozenAtNs"])
        self.assertEqual(proof.faults, [])
        for name, checksum in sums.items():
            self.assertEqual(hashlib.sha256(read(os.path.join(made["alternate"], name))).hexdigest(), checksum)
        for name in ("grows", "shrinks", "is-deleted", "is-renamed", "is-overwritten"):
            self.assertEqual(read(os.path.join(made["alternate"], name)), b"before " * 1000, name)
        self.assertFalse(os.path.exists(os.path.join(made["alternate"], "is-new")))
        self.assertIsNone(writer.poll(), "the writer ended")
        writer.terminate()
        writer.wait()
        self.delete(made)

    @staticmethod
    def change(disk):
        with open(disk.at("grows"), "ab") as file:
            file.write(b"after" * 100000)
        os.truncate(disk.at("shrinks"), 3)
        os.unlink(disk.at("is-deleted"))
        os.rename(disk.at("is-renamed"), disk.at("renamed"))
        with open(disk.at("is-overwritten"), "r+b") as file:
            file.write(b"AFTER" * 100)
        write(disk.at("is-new"))
        os.sync()

    def test_xfs_cloned(self):
        self.prove("xfs")

    def test_ext2_cloned(self):
        self.prove("ext2")

    def test_ext3_cloned(self):
        self.prove("ext3")

    def test_ext4_cloned(self):
        self.prove("ext4")

    def test_xfs_copied_where_files_cannot_be_cloned(self):
        self.prove("xfs", folder=self.plain_store())

    def test_ext4_copied_where_files_cannot_be_cloned(self):
        self.prove("ext4", folder=self.plain_store())

    def plain_store(self):
        return self.room.disk("ext4", "plain", folder=self.room.folder, size=1 << 30).point
