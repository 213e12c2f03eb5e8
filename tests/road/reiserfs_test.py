"""The whole road on reiserfs, which the host freezes itself, where this kernel has it."""
from content_case import ContentCase


class ReiserfsTest(ContentCase):
    types = ("reiserfs",)

    def test_it_is_cloned(self):
        self.prove("reiserfs")

    def test_it_stands_still(self):
        self.assert_stands_still("reiserfs")

    def test_a_foreign_thaw_is_reported(self):
        self.assert_foreign_thaw_is_reported("reiserfs")

    def test_a_command_reads_the_copy(self):
        self.assert_command_reads_copy("reiserfs")

    def test_two_copies_live_side_by_side(self):
        self.assert_copies_side_by_side("reiserfs")
