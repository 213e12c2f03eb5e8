"""Names: those that a command would split are refused before anything happens; every other one works."""
import os

from road_case import RoadCase, read, write

UNSUPPORTED = 6


class NamesTest(RoadCase):
    types = ("xfs", "ext4")

    def refuse(self, name):
        disk = self.room.disk("ext4", point=self.room.at(name))
        for words in (["snapshot", disk.point], ["run", disk.point, "--", "true"], ["probe", disk.point]):
            answer = self.tarnctl.json(*words)
            self.assert_code(answer, UNSUPPORTED, "at which commands would split it")
        self.assertEqual(self.known(everything=True), [])
        self.assertEqual(self.left_by_product(), [])
        text = self.tarnctl.run("snapshot", disk.point)
        self.assertEqual(text.err.count("\n"), 1, "a name can forge a line of the report")

    def accept(self, name, fs_type="xfs"):
        disk = self.room.disk(fs_type, point=self.room.at(name))
        write(disk.at("file"))
        made = self.snapshot(disk)
        alternate = disk.point + "_alt"
        self.assertEqual(read(os.path.join(alternate, "file")), b"content")
        if "alternateBytes" in made:
            self.assertEqual(bytes.fromhex(made["alternateBytes"]), os.fsencode(alternate))
        else:
            self.assertEqual(made["alternate"], alternate)
        answer = self.tarnctl.json("run", disk.point, "--", "cat", "{}/file")
        self.assert_code(answer, 0, "content")
        (known,) = self.known()
        self.assertEqual(known["id"], made["id"])
        self.delete(made)

    def test_blank(self):
        self.refuse("with blank")

    def test_tab(self):
        self.refuse("with\ttab")

    def test_line_break(self):
        self.refuse("with\nbreak")

    def test_double_quote(self):
        self.refuse('with"quote')

    def test_control_character(self):
        self.refuse("with\x1b[31mcolour")

    def test_hash_sign(self):
        self.accept("with#hash")

    def test_single_quote_and_shell_characters(self):
        self.accept("with'$(touch x)`;&|*?[]{}<>~!".replace(" ", "-"))

    def test_shell_characters_frozen_by_the_host(self):
        self.accept("with'$;&|*?[]{}<>~!", "ext4")

    def test_backslash(self):
        self.accept("with\\backslash\\040")

    def test_utf_8(self):
        self.accept("grün-数据-😀")

    def test_bytes_that_are_no_utf_8(self):
        self.accept(os.fsdecode(b"bytes-\xff\xfe\xc3"))

    def test_percent_signs(self):
        self.accept("with%s%n%d")

    def test_a_leading_dash_of_a_folder(self):
        self.accept("-rf")

    def test_4000_bytes(self):
        point = self.room.folder
        while len(os.fsencode(point)) < 3795:
            point += "/" + "é" * 100
        point += "/" + "x" * (3999 - len(os.fsencode(point)))
        self.assertEqual(len(os.fsencode(point)), 4000)
        self.accept(os.path.relpath(point, self.room.folder))
