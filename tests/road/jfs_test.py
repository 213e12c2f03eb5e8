"""The whole road on jfs, which the host freezes itself, where this kernel has it."""
from content_case import ContentCase


class JfsTest(ContentCase):
    types = ("jfs",)

    def test_it_is_cloned(self):
        self.prove("jfs")

    def test_it_stands_still(self):
        self.assert_stands_still("jfs")

    def test_a_foreign_thaw_is_reported(self):
        self.assert_foreign_thaw_is_reported("jfs")

    def test_a_command_reads_the_copy(self):
        self.assert_command_reads_copy("jfs")

    def test_two_copies_live_side_by_side(self):
        self.assert_copies_side_by_side("jfs")
