"""run PATH -- CMD…: a snapshot for the time of one command, and whose exit status is whose."""
import os
import signal
import subprocess
import time

import tarnctl
from road_case import RoadCase, read, write


class RunTest(RoadCase):
    types = ("ext4",)

    def setUp(self):
        super().setUp()
        self.disk = self.room.disk("ext4")
        write(self.disk.at("file"), b"of the origin")

    def run_command(self, *command, options=(), **more):
        answer = self.tarnctl.json("run", *options, self.disk.point, "--", *command, **more)
        self.assertEqual(self.known(), [], "run left its snapshot")
        self.assertEqual(self.left_by_product(), [])
        return answer

    def test_the_command_finds_the_copy_in_place_of_the_braces(self):
        out = self.room.at("out")
        answer = self.run_command("sh", "-c", 'echo changed >"$0"; cat "$1"/file >"$2"; echo "{}{}" >>"$2"',
                                  self.disk.at("file"), "{}", out)
        self.assert_code(answer, 0)
        self.assertEqual((answer.json["ok"], answer.json["commandExitCode"]), (True, 0))
        alternate = self.disk.point + "_alt"
        self.assertEqual(read(out).decode(), f"of the origin{alternate}{alternate}\n")

    def test_output_and_error_of_the_command_are_its_own(self):
        answer = self.tarnctl.run("run", self.disk.point, "--", "sh", "-c", "echo out; echo err >&2")
        self.assertEqual((answer.code, answer.out, answer.err), (0, "out\n", "err\n"))

    def test_with_json_standard_output_is_one_document(self):
        answer = self.run_command("sh", "-c", "echo out; echo err >&2")
        self.assert_code(answer, 0)
        self.assertIsNotNone(answer.json, answer)
        self.assertEqual(answer.err, "out\nerr\n")

    def test_a_failing_command_is_exit_10_and_its_code_is_in_the_answer(self):
        answer = self.run_command("sh", "-c", "exit 3")
        self.assertEqual((answer.code, answer.json["exitCode"], answer.json["commandExitCode"]), (10, 10, 3))
        self.assertIs(answer.json["ok"], False)
        self.assertIn("ended with 3", answer.json["cause"])

    def test_its_code_can_be_passed_on(self):
        for code in (0, 1, 3, 255):
            answer = self.run_command("sh", "-c", f"exit {code}", options=["--exit-code-from", "command"])
            self.assertEqual((answer.code, answer.json["commandExitCode"]), (code, code))

    def test_a_command_killed_by_a_signal_is_128_and_the_signal(self):
        answer = self.run_command("sh", "-c", "kill -KILL $$")
        self.assertEqual((answer.code, answer.json["commandExitCode"]), (10, 137))
        answer = self.run_command("sh", "-c", "kill -KILL $$", options=["--exit-code-from=command"])
        self.assertEqual(answer.code, 137)

    def test_a_command_that_cannot_start_is_exit_10(self):
        write(self.room.at("plain"))
        for command, reason in ((self.room.at("missing"), "No such file"), (self.room.at("plain"), "Permission denied")):
            for options in ([], ["--exit-code-from=command"]):
                answer = self.run_command(command, options=options)
                self.assert_code(answer, 10, "cannot start it", reason)
                self.assertNotIn("commandExitCode", answer.json)

    def test_the_command_has_the_caller_s_folder_umask_and_input(self):
        os.mkdir(self.room.at("folder"))
        answer = self.run_command("sh", "-c", "umask; pwd; wc -c", umask=0o007, cwd=self.room.at("folder"))
        self.assert_code(answer, 0)
        self.assertEqual(answer.err.split(), ["0007", self.room.at("folder"), "0"])

    def test_a_command_that_left_something_running_on_the_copy_is_reported(self):
        holder = self.room.at("holder")
        answer = self.tarnctl.json("run", self.disk.point, "--", "sh", "-c",
                                   f'cd {{}} && sleep 30 >/dev/null 2>&1 & echo $! >{holder}; sleep 0.2')
        pid = int(read(holder))
        try:
            self.assert_code(answer, 5)
            self.assertEqual((answer.json["ok"], answer.json["commandExitCode"]), (False, 0))
            left = self.known()
            self.assertEqual([one["alternate"] for one in left], [self.disk.point + "_alt"])
        finally:
            os.kill(pid, signal.SIGKILL)
        time.sleep(0.1)
        self.delete(left[0])

    def test_an_interruption_reaches_the_command_and_the_snapshot_goes(self):
        process = self.tarnctl.start("--json", "run", self.disk.point, "--", "sh", "-c",
                                     f"trap 'exit 7' INT; touch {self.room.at('runs')}; while :; do sleep 0.05; done")
        while not os.path.exists(self.room.at("runs")):
            self.assertIsNone(process.poll())
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        answer = tarnctl.finish(process)
        self.assertEqual((answer.code, answer.json["commandExitCode"]), (10, 7))
        self.assertEqual(self.known(), [])

    def test_without_a_command_it_is_a_usage_error(self):
        self.assert_code(self.tarnctl.run("run", self.disk.point), 2)
        self.assert_code(self.tarnctl.run("run", self.disk.point, "--"), 2)
        self.assert_code(self.tarnctl.run("run", self.disk.point, "--exit-code-from=nobody", "--", "true"), 2)

    def test_tar_reads_a_whole_copy(self):
        archive = self.room.at("archive.tar")
        self.assert_code(self.run_command("tar", "-cf", archive, "-C", "{}", "."), 0)
        listed = subprocess.run(["tar", "-xOf", archive, "./file"], check=True, stdout=subprocess.PIPE).stdout
        self.assertEqual(listed, b"of the origin")
