#!/usr/bin/env python3
"""The proof must fail where a copy is not of one instant: every way to be wrong is tried on a copy that is right."""
import os
import tempfile
import unittest

from records import RECORD_LENGTH, check_records, record

FROZEN_AT = 1000


class RecordsTest(unittest.TestCase):
    """Ten records, begun at 100, 200 …, acknowledged 50 later; the tenth is in hand while the freeze comes."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarnfi-test-records-")
        self.addCleanup(self.folder.cleanup)
        self.log = self.path("log")
        self.write_log({number: (number * 100, number * 100 + 50) for number in range(1, 13)})

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write_log(self, times):
        with open(self.log, "w", encoding="ascii") as log:
            for number, (begun, acknowledged) in times.items():
                log.write(f"begun {number} {begun}\nacknowledged {number} {acknowledged}\n")

    def faults(self, content):
        with open(self.path("copy"), "wb") as copy:
            copy.write(content)
        return check_records(self.path("copy"), self.log, FROZEN_AT).faults

    @staticmethod
    def records(*numbers):
        return b"".join(map(record, numbers))

    def test_a_right_copy_has_no_faults_with_and_without_the_record_in_hand(self):
        self.assertEqual(self.faults(self.records(*range(1, 10))), [])
        self.assertEqual(self.faults(self.records(*range(1, 11))), [])

    def test_a_missing_acknowledged_record_is_found(self):
        self.assertRegex(self.faults(self.records(*range(1, 9)))[0], "record 9 was acknowledged .* is missing")

    def test_a_record_begun_after_the_freeze_is_found(self):
        self.assertRegex(self.faults(self.records(*range(1, 12)))[0], "record 11 was begun .* is in the copy")

    def test_a_gap_a_changed_byte_and_a_torn_end_are_found(self):
        right = self.records(*range(1, 10))
        self.assertRegex(self.faults(self.records(1, 2, 4, 5, 6, 7, 8, 9, 10))[0], "record 3 is harmed")
        changed = bytearray(right)
        changed[4 * RECORD_LENGTH + 60] ^= 1
        self.assertRegex(self.faults(bytes(changed))[0], "record 5 is harmed")
        self.assertRegex(self.faults(right + record(10)[:50])[0], "middle of a record")
        self.assertRegex(self.faults(right + bytes(RECORD_LENGTH))[0], "record 10 is harmed")

    def test_an_empty_copy_and_no_copy_are_found(self):
        self.assertTrue(self.faults(b""))
        self.assertTrue(check_records(self.path("none"), self.log, FROZEN_AT).faults)

    def test_a_proof_that_could_not_fail_is_no_proof(self):
        self.write_log({1: (2000, 2050), 2: (2100, 2150)})
        self.assertRegex(self.faults(b"")[0], "nothing was acknowledged before the freeze")
        self.write_log({1: (100, 150), 2: (200, 250)})
        self.assertRegex(self.faults(self.records(1, 2))[0], "nothing after the copy")


if __name__ == "__main__":
    unittest.main()
