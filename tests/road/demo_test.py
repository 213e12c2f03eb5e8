"""The demo, to its end and with Ctrl-C: whatever it has made by then is taken apart."""
import os
import re
import signal
import subprocess
import unittest

import scratch

HERE = os.path.dirname(os.path.abspath(__file__))


class DemoTest(unittest.TestCase):
    def setUp(self):
        reason = scratch.reason_to_skip("xfs", "ext3")
        if reason:
            self.skipTest(reason)
        self.build = os.environ["TARNFI_TEST_BUILD"]

    def test_runs_to_its_end(self):
        demo = subprocess.run([os.path.join(HERE, "../demo/demo"), self.build], stdin=subprocess.DEVNULL, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=100)
        self.assertEqual(demo.returncode, 0, demo.stdout)
        for line in (r"snapshot    \S+ on /dev/loop\d+, read-only at /\S+_alt", r"stood still [\d.]+ ms", r"read-only   .*Read-only",
                     r"records     [\d,]+ in the copy: all [\d,]+ acknowledged before the freeze", r"files       40 with",
                     r"deleted     /\S+_alt is gone", r"tar         `tarnctl run"):
            self.assertEqual(len(re.findall("(?m)^  " + line, demo.stdout)), 2, (line, demo.stdout))
        self.assertIn("left behind: no mount, no loop device, no file, no process", demo.stdout)

    def interrupt(self, after, *, number=signal.SIGINT, times=1):
        """As a terminal does it, once a line of the output matches: everything in the foreground gets the signal."""
        demo = subprocess.Popen([os.path.join(HERE, "../demo/demo"), self.build], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)
        said = []
        for line in demo.stdout:
            said.append(line)
            if re.search(after, line):
                break
        for _ in range(times):
            os.killpg(demo.pid, number)
        said.append(demo.communicate(timeout=90)[0])
        words = "".join(said)
        self.assertEqual(demo.returncode, 128 + number, words)
        self.assertIn("left behind: no mount, no loop device, no file, no process", words)
        self.assertEqual(scratch.leftovers(f"tarnfi-demo-{demo.pid}"), [], words)

    def test_ctrl_c_before_its_first_file_system_is_in_use(self):
        self.interrupt("images lie")

    def test_ctrl_c_while_a_snapshot_is_made(self):
        self.interrupt("^  writing")

    def test_ctrl_c_with_a_snapshot_mounted(self):
        self.interrupt("^  snapshot", times=3)

    def test_hang_up_while_the_archive_is_written(self):
        self.interrupt("^  deleted", number=signal.SIGHUP)
