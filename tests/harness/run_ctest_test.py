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

ROOT = pathlib.Path(__file__).resolve().parents[2]
COLUMNS = 100
LONG_LINE = "why " * 60
LONG_NAME = "room." + "Long" * 30
SKIPPED = "/path/test.cpp:12: Skipped\nneeds another machine"


class Lane(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="lane.")
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name)
        (self.build / "tests_left_out").write_text("room.Other: the preset desk runs it\n")
        self.tests = ""
        self.ctest = ["ctest", "--test-dir", self.build, "--output-on-failure", "--no-tests=error"]

    def add(self, name, script, properties=""):
        self.tests += f'add_test([==[{name}]==] "sh" "-c" [==[{script}]==])\n'
        if properties:
            self.tests += f"set_tests_properties([==[{name}]==] PROPERTIES {properties})\n"

    def command(self, *options):
        (self.build / "CTestTestfile.cmake").write_text(self.tests)
        again = "script/test desk"
        return [
            sys.executable,
            ROOT / "tests/harness/run_ctest.py",
            *options,
            self.build,
            again,
            *self.ctest,
        ]

    def run_lane(self, *options):
        """The exit status and the output when standard output is a pipe."""
        result = subprocess.run(
            self.command(*options),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=60,
            check=False,
        )
        for line in result.stdout.splitlines():
            self.assertLessEqual(len(line), COLUMNS, line)
        return result.returncode, result.stdout

    def run_on_terminal(self):
        """The output on a terminal."""
        this_end, other_end = pty.openpty()
        with subprocess.Popen(self.command(), stdout=other_end, stderr=other_end):
            os.close(other_end)
            output = b""
            try:
                while block := os.read(this_end, 4096):
                    output += block
            except OSError:  # the other end is closed
                pass
        os.close(this_end)
        return output.decode()

    def test_prints_little_when_all_pass(self):
        for number in range(40):
            self.add(f"room.Passes{number}", "true")
        status, output = self.run_lane()
        self.assertEqual(status, 0)
        progress = re.findall(r"^\d+/40 tests, 0 failed, \d+ s$", output, re.MULTILINE)
        self.assertEqual(len(progress), 10, output)
        self.assertTrue(output.endswith("\n100% tests passed, 0 tests failed out of 40\n"), output)
        self.assertIn(f"\nResults (JUnit): {self.build}/results.xml\n", output)
        self.assertTrue((self.build / "results.xml").exists())
        self.assertIn("\nOne test again:  script/test desk NAME\n", output)
        self.assertIn("\nroom.Other: the preset desk runs it\n", output)

    def test_prints_a_failure_with_its_output_and_its_command(self):
        self.add("room.Passes", "echo nothing to see")
        self.add("room.Fails", f"echo {LONG_LINE}; echo the end; exit 3")
        status, output = self.run_lane()
        self.assertNotEqual(status, 0)
        self.assertRegex(output, r"\nFAILED: room\.Fails \(Failed, [\d.]+ s\)\nwhy why ")
        self.assertEqual(output.replace("\n", "").count("why"), 60)
        self.assertIn("\nthe end\n", output)
        self.assertNotIn("nothing to see", output)
        self.assertIn("\nscript/test desk '^room\\.Fails$'\n", output)
        self.assertTrue(output.endswith("\n50% tests passed, 1 tests failed out of 2\n"), output)

    def test_distinguishes_a_timeout_from_a_failure(self):
        self.add("room.Waits", "exec sleep 60", "TIMEOUT 1")
        self.assertRegex(self.run_lane()[1], r"FAILED: room\.Waits \(Timeout, ")

    def test_prints_the_command_of_a_long_name(self):
        self.add(LONG_NAME, "false")
        output = self.run_lane()[1]
        self.assertIn(LONG_NAME, output.replace("\n", ""))

    def test_prints_the_reason_of_a_skipped_test(self):
        self.add("room.Skips", f"echo '{SKIPPED}'; exit 77", "SKIP_RETURN_CODE 77")
        status, output = self.run_lane()
        self.assertEqual(status, 0)
        self.assertIn("\nroom.Skips: needs another machine\n", output)
        self.assertNotIn("FAILED", output)

    def test_prints_the_five_slowest(self):
        # The times do not depend on the machine: a replacement of CTest copies a file with them.
        times = {"A": 0.5, "B": 70, "C": 1.25, "D": 0, "E": 9.5, "F": 100, "G": 0.25}
        cases = (
            f'<testcase name="{name}" time="{time}" status="run"/>' for name, time in times.items()
        )
        (self.build / "cases").write_text(f"<testsuite>{''.join(cases)}</testsuite>")
        self.ctest = ["sh", "-c", f"cp {self.build}/cases {self.build}/results.xml"]
        slowest = self.run_lane()[1].split("Slowest:\n")[1].split("\n\n")[0]
        self.assertEqual(
            slowest.splitlines(),
            ["  100.00 s  F", "   70.00 s  B", "    9.50 s  E", "    1.25 s  C", "    0.50 s  A"],
        )

    def test_fails_without_a_test(self):
        status, output = self.run_lane()
        self.assertNotEqual(status, 0)
        self.assertIn("No tests were found", output)

    def test_prints_all_of_ctest_when_told(self):
        self.add("room.Passes", "true")
        status, output = self.run_lane("-v")
        self.assertEqual(status, 0)
        self.assertRegex(output, r"\n +Start +1: room\.Passes\n1/1 Test +#1: room\.Passes \.+ ")
        self.assertTrue(output.endswith("\n100% tests passed, 0 tests failed out of 1\n"), output)

    def test_keeps_progress_on_one_line_of_a_terminal(self):
        self.add("room.Passes", "true")
        self.add("room.Fails", "false")
        output = self.run_on_terminal()
        self.assertRegex(output, r"\r\x1b\[K1/2 tests, [01] failed, \d+ s: ")
        self.assertRegex(output, r"\r\x1b\[KFAILED: room\.Fails \(Failed, ")
        self.assertNotRegex(output, r"/2 tests[^\r\n]*\n")


if __name__ == "__main__":
    unittest.main(verbosity=2)
