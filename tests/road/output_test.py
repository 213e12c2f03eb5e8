"""What the verbs say: text for people, one JSON document for programs."""
import os
import re
import shutil
import subprocess

import tarnctl
from road_case import RoadCase


class OutputTest(RoadCase):
    types = ("xfs", "ext3")

    def test_probe_says_who_claims_it_and_how_it_is_frozen(self):
        for fs_type, method in (("xfs", "xfs_freeze"), ("ext3", "ioctl")):
            disk = self.room.disk(fs_type, fs_type, options="nosuid,noatime" if fs_type == "xfs" else "")
            answer = self.tarnctl.json("probe", disk.point)
            self.assert_code(answer, 0)
            (found,) = answer.json["paths"]
            self.assertEqual(
                (found["path"], found["claimed"], found["provider"], found["type"], found["device"]),
                (disk.point, True, "tarnfi", fs_type, disk.device))
            self.assertEqual((found["freezeMethod"], found["volumeProvider"]), (method, "loopfi"))
            if fs_type == "xfs":
                self.assertIn("nosuid", found["options"].split(","))
            text = self.tarnctl.run("probe", disk.point + "/")
            self.assert_code(text, 0, disk.point, fs_type, disk.device, "tarnfi", "loopfi", method)
            self.assertEqual(text.out.count("\n"), 1)

    def test_probe_answers_for_each_path_of_several(self):
        disk = self.room.disk("xfs")
        answer = self.tarnctl.json("probe", disk.point, self.room.at("missing"))
        self.assert_code(answer, 4)
        self.assertEqual([path.get("ok", True) for path in answer.json["paths"]], [True, False])
        self.assertIs(answer.json["ok"], False)

    def test_another_user_is_told_what_is_not_permitted(self):
        disk = self.room.disk("xfs")
        os.chmod(self.room.folder, 0o755)
        nobody = {"user": 65534, "group": 65534, "extra_groups": []}
        program = self.copy_of_the_program()
        answer = program.json("snapshot", disk.point, **nobody)
        self.assert_code(answer, 1, "user 65534 may not look into this folder")
        self.assertEqual(answer.json["subject"], os.path.dirname(self.tarnctl.catalog))
        (found,) = program.json("probe", disk.point, **nobody).json["paths"]
        self.assertEqual(found["volumeProvider"], "")
        self.assertIn(f"user 65534 may not read {disk.device}", found["warnings"][0])
        (found,) = self.tarnctl.json("probe", disk.point).json["paths"]
        self.assertEqual((found["volumeProvider"], found["warnings"]), ("loopfi", []))

    def copy_of_the_program(self):
        """For other users, whom the folder of the build may be closed to."""
        os.makedirs(self.room.at("product/bin"))
        shutil.copy(os.path.join(self.build, "bin/tarnctl"), self.room.at("product/bin"))
        shutil.copytree(os.path.join(self.build, "lib"), self.room.at("product/lib"), symlinks=True)
        return tarnctl.Tarnctl(self.room.at("product"), self.tarnctl.catalog)

    def test_snapshot_and_show_agree(self):
        disk = self.room.disk("xfs")
        made = self.snapshot(disk)
        answer = self.tarnctl.json("show", made["id"])
        self.assert_code(answer, 0)
        shown = answer.json
        for key in ("id", "mountPoint", "device", "type", "alternate", "consistency", "windowNs"):
            self.assertEqual(shown[key], made[key], key)
        self.assertEqual(shown["state"], "ready")
        self.assertEqual([(step["name"], step["state"]) for step in shown["steps"]],
                         [(name, "done") for name in ("prepare", "freeze", "make", "thaw", "mount")])
        self.assertEqual([(node["role"], node["provider"], node["name"]) for node in shown["nodes"]],
                         [("origin", "tarnfi", disk.point), ("device", "loopfi", disk.device),
                          ("snapshot-device", "loopfi", made["snapshotDevice"]),
                          ("alternate", "tarnfi", made["alternate"])])
        self.assertRegex(shown["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assert_code(self.tarnctl.run("show", made["id"]), 0, "prepare", "snapshot-device", made["alternate"])
        self.delete(made)
        gone = self.tarnctl.json("show", made["id"]).json
        self.assertEqual({step["state"] for step in gone["steps"]}, {"undone"})
        self.assertEqual((gone["state"], gone["alternate"]), ("gone", ""))

    def test_list_has_what_is_there_and_all_what_was(self):
        self.assertEqual(self.known(), [])
        self.assert_code(self.tarnctl.run("list"), 0)
        disk = self.room.disk("xfs")
        made = self.snapshot(disk)
        (row,) = self.known()
        self.assertEqual((row["id"], row["alternate"], row["state"]), (made["id"], made["alternate"], "ready"))
        text = self.tarnctl.run("list")
        self.assert_code(text, 0, made["id"], made["alternate"], "ready", "frozen")
        self.assertEqual(text.out.count("\n"), 1)
        self.delete(made)
        self.assertEqual(self.known(), [])
        self.assertEqual([one["state"] for one in self.known(everything=True)], ["gone"])

    def test_snapshot_says_where_the_copy_is_and_how_long_it_took(self):
        disk = self.room.disk("xfs")
        text = self.tarnctl.run("snapshot", disk.point)
        self.assert_code(text, 0, f"{disk.point} -> {disk.point}_alt")
        self.assertRegex(text.out, r"stood still \d+\.\d ms")
        self.assert_code(self.tarnctl.run("delete", text.out.split()[0]), 0, "gone")

    def test_plugin_list_and_info(self):
        answer = self.tarnctl.json("plugin", "list")
        self.assert_code(answer, 0)
        found = {plugin["name"]: plugin for plugin in answer.json["plugins"]}
        self.assertEqual(set(found), {"tarnfi", "loopfi"})
        self.assertTrue({"xfs", "ext2", "ext3"} <= set(found["tarnfi"]["types"]), found)
        for name, plugin in found.items():
            self.assertRegex(plugin["version"], r"^\d+\.\d+\.\d+\.\d+$")
            self.assertTrue(os.path.samefile(plugin["library"], os.path.join(self.build, f"lib/lib{name}.so")))
            info = self.tarnctl.json("plugin", "info", name)
            self.assert_code(info, 0)
            self.assertEqual(info.json["plugin"], plugin)
            self.assert_code(self.tarnctl.run("plugin", "info", name), 0, name, plugin["version"])
        self.assert_code(self.tarnctl.json("plugin", "info", "nobody"), 4)

    def test_usage_errors_are_exit_2(self):
        for words in ([], ["nothing"], ["snapshot"], ["show"], ["delete"], ["probe"], ["plugin"], ["plugin", "x"],
                      ["list", "surplus"], ["snapshot", "/a", "/b"], ["--freeze-budget", "99", "list"],
                      ["--freeze-budget", "60001", "list"], ["--freeze-budget=x", "list"], ["--no-such", "list"]):
            answer = self.tarnctl.run(*words)
            self.assertEqual(answer.code, 2, (words, answer))
            self.assertTrue(answer.err, words)
            answer = self.tarnctl.json(*words)
            self.assertEqual((answer.code, answer.json["exitCode"], answer.json["ok"]), (2, 2, False), (words, answer))
            self.assertTrue(answer.json["cause"], words)
        for words in (["--help"], ["--version"], ["snapshot", "--help"]):
            self.assert_code(self.tarnctl.run(*words), 0)
        answer = self.tarnctl.run("run", "/a", "--no-such", "--", "--json")  # that word is the command's
        self.assertEqual((answer.code, answer.json), (2, None))
        self.assertRegex(self.tarnctl.run("--version").out, r"^tarnctl \d+\.\d+\.\d+\n$")

    def test_a_full_standard_output_is_no_success(self):
        with open("/dev/full", "wb") as full:
            process = subprocess.run([self.tarnctl.program, "plugin", "list"], stdout=full, stderr=subprocess.PIPE,
                                     env=self.tarnctl.environment(), check=False)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"standard output", process.stderr)

    def test_the_trace_file_has_every_line_and_is_its_own(self):
        disk = self.room.disk("xfs")
        trace = self.room.at("trace")
        made = self.snapshot(disk, environment={"ZFI_TRACE_FILE": trace, "ZFI_TRACE_LEVEL": "6"})
        self.assertEqual(os.stat(trace).st_mode & 0o777, 0o600)
        with open(trace, encoding="utf-8") as file:
            text = file.read()
        self.assertTrue(re.search(r"tarnfi", text) and re.search(r"loopfi", text))
        self.assertIn("xfs_freeze -f", text)
        self.delete(made)
