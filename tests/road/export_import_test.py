"""export and import: a snapshot travels to another host. The other host is another catalog and another copy of the file."""
import errno
import json
import os
import shutil
import signal
import subprocess
import time

import kernel
import tarnctl
from road_case import RoadCase, checksums, read, write


class ExportImportTest(RoadCase):
    types = ("xfs", "ext4")

    def setUp(self):
        super().setUp()
        os.mkdir(self.room.at("other-catalog"), 0o700)
        self.other = tarnctl.Tarnctl(self.build, self.room.at("other-catalog/snapshots.db"))
        self.document = self.room.at("export.json")
        self.carried = self.room.at("carried")
        self.addCleanup(self.delete_imported)

    def tearDown(self):
        self.delete_imported()
        for one in self.known():
            self.delete(one)
        super().tearDown()

    def delete_imported(self):
        for one in self.imported():
            self.other.run("delete", one["id"])

    def imported(self):
        return self.other.json("list").json["snapshots"]

    def made(self, fs_type="xfs", options="", words=()):
        """A snapshot at rest, exported, its file carried over as cp does it."""
        size = {} if fs_type == "xfs" else {"size": 32 << 20}  # small, because it is read whole again and again
        self.disk = self.room.disk(fs_type, options=options, **size)
        for number in range(20):
            write(self.disk.at(f"folder/{number}"), os.urandom(30_000))
        self.content = checksums(self.disk.point)
        answer = self.tarnctl.json("snapshot", *words, self.disk.point)
        self.assert_code(answer, 0)
        made = answer.json
        write(self.disk.at("folder/0"), b"changed afterwards")
        self.copy = f"{self.disk.image}.tarnfi-{made['id']}"
        self.assert_code(self.tarnctl.run("umount", made["id"]), 0)
        answer = self.tarnctl.json("export", made["id"], "--output", self.document)
        self.assert_code(answer, 0)
        self.assertEqual(answer.json, {"ok": True, "id": made["id"], "output": self.document})
        shutil.copyfile(self.copy, self.carried)
        return made

    def run_import(self, *more, document=None, device=None, **options):
        return self.other.json("import", document or self.document, "--device", device or self.carried, *more, **options)

    def assert_refused_import(self, code, *parts, **how):
        """At once, and nothing was touched."""
        before = read(self.carried)
        started = time.monotonic()
        answer = self.run_import(**how)
        self.assert_code(answer, code, *parts)
        self.assertLess(time.monotonic() - started, 80, "it was tried, patiently: with three pauses of 30 s")
        self.assertEqual(answer.json["undoing"], [], answer)
        self.assertEqual(self.imported(), [])
        self.assertEqual(kernel.loop_devices(containing=self.carried), {})
        self.assertTrue(read(self.carried) == before, "the data changed")

    def edited(self, **changes):
        """The document with these members, nested ones as outer__inner."""
        with open(self.document, encoding="ascii") as file:
            content = json.load(file)
        for name, value in changes.items():
            *outer, inner = name.split("__")
            where = content
            for one in outer:
                where = where[one]
            where[inner] = value
        path = self.room.at("edited.json")
        with open(path, "w", encoding="ascii") as file:
            json.dump(content, file)
        return path

    def travel(self, fs_type, *words):
        made = self.made(fs_type, words=words)
        self.delete(made)  # the origin host needs it no more, and goes on
        answer = self.run_import()
        self.assert_code(answer, 0)
        there = answer.json
        self.assertEqual((there["state"], there["importedId"], there["consistency"], there["type"]),
                         ("ready", made["id"], "frozen", fs_type))
        self.assertEqual(there["alternate"], self.disk.point + "_alt")
        self.assertEqual(checksums(there["alternate"]), self.content)
        with self.assertRaises(OSError) as caught:
            write(os.path.join(there["alternate"], "new"))
        self.assertEqual(caught.exception.errno, errno.EROFS)
        options = kernel.mounts(below=there["alternate"])[0].options
        self.assertLessEqual({"ro", "nosuid", "nodev"}, options)
        (known,) = self.imported()
        self.assertEqual((known["state"], known["imported"]["id"], known["imported"]["file"]),
                         ("ready", made["id"], self.carried))
        self.go_down_up_and_away(there)

    def go_down_up_and_away(self, there):
        self.assert_code(self.other.run("umount", there["id"]), 0)
        self.assertEqual(self.imported()[0]["state"], "unmounted")
        self.assertEqual(kernel.loop_devices(containing=self.carried), {})
        again = self.other.json("mount", there["id"], self.room.at("elsewhere"))
        self.assert_code(again, 0)
        self.assertEqual(checksums(again.json["alternate"]), self.content)
        gone = self.other.json("delete", there["id"])
        self.assert_code(gone, 0)
        self.assertEqual(gone.json["kept"], self.carried)
        self.assertTrue(os.path.exists(self.carried), "delete took a file that the import did not make")
        self.assertEqual(kernel.loop_devices(containing=self.carried), {})
        self.assertEqual(self.imported(), [])

    def test_xfs_travels(self):
        self.travel("xfs")

    def test_ext4_made_with_sync_travels(self):
        self.travel("ext4", "--sync")

    def test_beside_the_origin_and_exported_once_more(self):
        self.made()
        there = self.run_import("--at", self.room.at("there")).json
        self.assertEqual(checksums(there["alternate"]), self.content)
        self.assert_code(self.run_import(), 5, "attached")
        self.assert_code(self.other.json("restore", there["id"]), 6, "imported")
        self.assert_code(self.other.json("export", there["id"]), 5, "umount")
        self.assert_code(self.other.run("umount", there["id"]), 0)
        second = self.other.run("export", there["id"])
        self.assert_code(second, 0)
        self.assertEqual(second.json["fileSystem"]["provider"], "tarnfi")
        self.assert_code(self.other.run("delete", there["id"]), 0)
        self.assertTrue(os.path.exists(self.carried) and os.path.exists(self.copy))

    def test_what_is_exported(self):
        made = self.made(options="nosuid")
        content = json.loads(read(self.document))
        self.assertEqual((content["format"], content["version"], content["id"]),
                         ("tarnfi-snapshot-export", 1, made["id"]))
        self.assertEqual(content["restrictions"], {"nosuid": True, "nodev": False, "noexec": False})
        uuid = subprocess.run(["blkid", "-p", "-s", "UUID", "-o", "value", self.copy], check=True,
                              stdout=subprocess.PIPE, text=True).stdout.strip()
        self.assertEqual(content["superblock"], {"type": "xfs", "uuid": uuid})
        self.assertEqual(os.stat(self.document).st_mode & 0o7777, 0o600)
        self.assertEqual(self.tarnctl.run("export", made["id"]).json, content)
        self.assert_code(self.tarnctl.json("export", made["id"], "--output", self.document), 6, "exists")
        self.assert_code(self.tarnctl.json("export", made["id"], "--output", self.room.at("no/such")), 1)

    def test_a_mounted_or_lost_one_is_not_exported(self):
        made = self.made()
        self.assert_code(self.tarnctl.run("mount", made["id"]), 0)
        self.assert_code(self.tarnctl.json("export", made["id"]), 5, "umount first")
        self.assert_code(self.tarnctl.run("umount", made["id"]), 0)
        os.rename(self.copy, self.copy + ".away")
        self.assert_code(self.tarnctl.json("export", made["id"]), 4, "No such file")
        write(self.copy, b"another one")
        self.assert_code(self.tarnctl.json("export", made["id"]), 1, "is not the snapshot's file")
        os.rename(self.copy + ".away", self.copy)
        self.assert_code(self.tarnctl.json("export", made["id"]), 0)

    def test_documents_that_are_none(self):
        self.made("ext4")
        plain = read(self.document)
        for content, part in ((b"\xef\xbb\xbf" + plain, "byte-order mark"), (plain[:-3], "no JSON"),
                              (b'{"version":1,' + plain[1:], "two members named version"),
                              (plain + b" " * (1 << 20), "larger"), (b"", "no JSON")):
            write(self.room.at("bad.json"), content)
            self.assert_refused_import(6, part, document=self.room.at("bad.json"))
        self.assert_refused_import(4, document=self.room.at("missing.json"))
        self.assert_refused_import(6, document=self.room.folder)

    def test_documents_that_were_edited(self):
        self.made("ext4")
        for changes, part in (({"version": 2}, "version is 2"), ({"consistency": "broken"}, "consistency is broken"),
                              ({"consistency": "undecided"}, "undecided"), ({"mountPoint": "/a b"}, "split"),
                              ({"mountPoint": 7}, "mountPoint"), ({"more": 1}, "unknown member more"),
                              ({"volume__provider": "tarnfi"}, "tarnfi"),
                              ({"volume__provider": "tarnfi", "fileSystem__provider": "loopfi"}, "layer"),
                              ({"superblock__uuid": "0000"}, "the snapshot is of 0000"),
                              ({"superblock__type": "xfs", "type": "xfs"}, "holds ext4")):
            self.assert_refused_import(6, part, document=self.edited(**changes))
        self.assert_refused_import(4, "loaded", document=self.edited(volume__provider="lvmfi"))
        self.assert_refused_import(1, document=self.edited(volume__state="no such state"))
        self.assert_refused_import(1, document=self.edited(fileSystem__state="x"))
        told = self.other.run("import", self.edited(**{"\x1b[2J": 1}), "--device", self.carried)
        self.assert_code(told, 6, "unknown member")
        self.assertNotIn("\x1b", told.err, "a foreign document speaks to the terminal")

    def test_a_state_that_lies_about_files_harms_none(self):
        self.made("ext4")
        victim = self.room.at("victim")
        write(victim, b"precious")
        status = os.stat(victim)
        lie = (f"loop-snapshot 1\norigin {self.room.disks[0].device}\nsnapshot {self.room.disks[0].device}\n"
               f"file {victim}\ndevice {status.st_dev}\ninode {status.st_ino}\n")
        there = self.run_import(document=self.edited(volume__state=lie))
        self.assert_code(there, 0)
        for verb in ("umount", "mount", "delete"):
            self.assert_code(self.other.json(verb, there.json["id"]), 0)
        self.assertEqual(read(victim), b"precious")
        self.assertTrue(os.path.exists(self.carried))

    def test_a_file_that_was_imported_in_place_is_not_deleted_below_its_mount(self):
        made = self.made("ext4")
        there = self.run_import(device=self.copy)
        self.assert_code(there, 0)
        for verb in ("delete", "mount"):
            self.assert_code(self.tarnctl.json(verb, made["id"]), 5)
        self.assertEqual(self.known()[0]["state"], "unmounted")
        self.assertEqual(checksums(there.json["alternate"]), self.content)
        self.assertTrue(os.path.exists(self.copy))
        self.assert_code(self.other.run("delete", there.json["id"]), 0)
        self.delete(made)

    def test_devices_that_are_not_the_snapshot(self):
        made = self.made("ext4")
        write(self.room.at("noise"), os.urandom(1 << 20))
        for device, code, part in ((self.room.at("missing"), 4, "No such file"), (self.room.folder, 6, "neither"),
                                   (self.disk.device, 1, "no regular file"), (self.disk.image, 5, "attached"),
                                   (self.room.at("noise"), 6, "no file system"), ("/dev/null", 6, "neither")):
            self.assert_refused_import(code, part, device=device)
        second = self.snapshot(self.disk)  # of the same file system, so that its superblock tells nothing
        self.assert_code(self.tarnctl.run("umount", second["id"]), 0)
        self.assert_refused_import(1, "it was made as", device=f"{self.disk.image}.tarnfi-{second['id']}")
        self.assertNotEqual(made["id"], second["id"])

    def test_a_place_that_is_not_there_asks_for_another(self):
        self.made("ext4")
        lost = self.edited(mountPoint=self.room.at("no/such/place"))
        self.assert_refused_import(4, "--at", document=lost)
        there = self.run_import("--at", self.room.at("there"), document=lost)
        self.assert_code(there, 0)
        self.assertEqual(checksums(there.json["alternate"]), self.content)

    def test_an_interrupted_import_leaves_nothing(self):
        self.made("ext4")
        known, self.tarnctl = self.tarnctl, self.other
        try:
            process, go_on = self.start_paused("spawn:/bin/mount:1", "--json", "import", self.document, "--device",
                                               self.carried)
            process.send_signal(signal.SIGINT)
            answer = go_on()
        finally:
            self.tarnctl = known
        self.assert_code(answer, 1, "interrupted by")
        self.assertIn("waiting for the mount", answer.err)
        self.assertEqual(answer.json["undoing"], [])
        self.assertEqual(self.imported(), [])
        self.assertEqual(kernel.loop_devices(containing=self.carried), {})
