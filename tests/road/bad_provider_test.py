"""Providers that are not there, are no providers, or are broken."""
import os

from road_case import RoadCase, write

FAILED, USAGE, NOT_FOUND = 1, 2, 4


class BadProviderTest(RoadCase):
    types = ("ext4",)

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("ext4")
        self.path = os.path.join(self.build, "tests/providers") + ":" + os.path.join(self.build, "lib")

    def refuse(self, providers, code, *parts, path=None):
        words = ["--provider-path", path or self.path, "--provider", providers]
        self.assert_refused(self.disk.point, code, *parts, words=[*words, "snapshot", self.disk.point])
        self.assertEqual(self.known(), [])

    def test_one_that_is_not_there(self):
        self.refuse("tarnfi,missing", NOT_FOUND, "no libmissing.so in")
        self.refuse("tarnfi", NOT_FOUND, "no libtarnfi.so in", path=self.room.folder)

    def test_names_that_are_none(self):
        for name in ("../lib/libtarnfi", "/tmp/x", "TARNFI", "a b", "x.so"):
            self.refuse(name, USAGE, "a provider's name has only")

    def test_one_that_lacks_entry_points(self):
        self.refuse("lackfi", FAILED, "it lacks 76 of its entry points", "lackfi_fi_pgn_claim")

    def test_one_that_is_no_library(self):
        write(self.room.at("libtextfi.so"), b"not a library")
        self.refuse("textfi", FAILED, "libtextfi.so", path=self.room.folder)
        write(self.room.at("libnonefi.so"), b"")
        self.refuse("nonefi", FAILED, "libnonefi.so", path=self.room.folder)

    def test_one_under_another_s_name(self):
        os.symlink(os.path.join(self.build, "lib/libloopfi.so"), self.room.at("libmyfi.so"))
        self.refuse("myfi", FAILED, "it lacks 77 of its entry points", path=self.room.folder)

    def test_one_that_lets_an_exception_escape(self):
        self.refuse("throwfi", FAILED, "which is its defect: claimed too much")

    def test_one_that_reports_a_snapshot_that_it_did_not_make(self):
        words = ["--provider-path", self.path, "--provider", "tarnfi,emptyfi"]
        answer = self.tarnctl.json(*words, "snapshot", self.disk.point)
        self.assert_code(answer, FAILED, "reported success but named no snapshot")
        self.assertEqual(answer.json["undoing"], [])
        self.assertEqual(self.known(), [])
        self.assert_works(self.disk)

    def test_no_volume_provider(self):
        self.refuse("tarnfi", 6, "no volume provider claims the device")
