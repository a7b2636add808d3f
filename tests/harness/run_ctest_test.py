#!/usr/bin/env python3
"""Runs sample tests like script/test runs those of a preset, and checks the output."""

import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import unittest

COLUMNS = 100
SAMPLES = {
    "room.Passes": "echo nothing to see",
    "room.Fails": "echo " + 60 * "why " + "; echo the end; exit 3",
    "room.Waits": "exec sleep 60",
    "room." + 30 * "Long": "exit 77",
    "room.Skips": "echo '/path/test.cpp:12: Skipped\nneeds another machine'; exit 77",
}
RUN_CTEST = pathlib.Path(__file__).with_name("run_ctest.py")


class Lane(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="lane.")
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name)
        (self.build / "tests_left_out").write_text("room.Other: the preset desk runs it\n")

    def command(self, *samples):
        tests = ""
        for name in samples:
            tests += f'add_test([==[{name}]==] "sh" "-c" [==[{SAMPLES[name]}]==])\n'
            tests += f"set_tests_properties([==[{name}]==] PROPERTIES TIMEOUT 1)\n"
        tests += 'set_tests_properties("room.Skips" PROPERTIES SKIP_RETURN_CODE 77)\n'
        (self.build / "CTestTestfile.cmake").write_text(tests if samples else "")
        ctest = ["ctest", "--test-dir", self.build, "--output-on-failure", "--no-tests=error"]
        return [sys.executable, RUN_CTEST, self.build, "script/test desk", *ctest]

    def run_lane(self, *samples):
        """The exit status and the output when standard output is a pipe."""
        result = subprocess.run(
            self.command(*samples), capture_output=True, text=True, timeout=60, check=False
        )
        self.assertLessEqual(max(map(len, result.stdout.split("\n"))), COLUMNS)
        return result.returncode, result.stdout

    def test_prints_failures_and_next_commands(self):
        status, output = self.run_lane(*SAMPLES)
        self.assertNotEqual(status, 0)
        self.assertRegex(output, r"\nFAILED: room\.Fails \(Failed, [\d.]+ s\)\nwhy why ")
        self.assertEqual(output.replace("\n", "").count("why"), 60)
        self.assertIn("\nthe end\n", output)
        self.assertNotIn("nothing to see", output)
        self.assertRegex(output, r"FAILED: room\.Waits \(Timeout, ")
        self.assertRegex(output, r"\nSlowest:\n +[1-9][\d.]+ s  room\.Waits\n( +0.*\n){4}\n")
        self.assertIn("\nroom.Other: the preset desk runs it\n", output)
        self.assertIn("\nroom.Skips: needs another machine\n", output)
        self.assertIn(f"\nResults (JUnit): {self.build}/results.xml\n", output)
        self.assertIn("\nscript/test desk '^room\\.Fails$'\n", output)
        self.assertTrue(output.endswith("\n40% tests passed, 3 tests failed out of 5\n"), output)

    def test_prints_little_when_all_pass(self):
        status, output = self.run_lane("room.Skips")
        self.assertEqual(status, 0)
        self.assertRegex(output, r"^1/1 tests, 0 failed, \d+ s\n\nSlowest:\n")

    def test_fails_without_a_test(self):
        self.assertNotEqual(self.run_lane()[0], 0)

    def test_keeps_progress_on_one_line_of_a_terminal(self):
        this_end, other_end = pty.openpty()
        with subprocess.Popen(self.command("room.Fails", "room.Skips"), stdout=other_end):
            os.close(other_end)
            output = ""
            try:
                while block := os.read(this_end, 4096):
                    output += block.decode()
            except OSError:  # the other end is closed
                pass
        os.close(this_end)
        self.assertRegex(output, r"\r\x1b\[K1/2 tests, 1 failed, \d+ s: ")
        self.assertRegex(output, r"\r\x1b\[KFAILED: room\.Fails \(Failed, ")
        self.assertEqual(re.findall(r"/2 tests[^\r\n]*\n", output), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
