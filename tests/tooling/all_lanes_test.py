#!/usr/bin/env python3
"""Runs script/test --all with short scripts in place of the lanes."""

import os
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ROOT, ScriptTree

SECONDS = 60


class AllLanes(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        for script in (
            "bootstrap",
            "build",
            "faults",
            "fuzz",
            "lint",
            "outside",
            "sessions",
            "soak",
        ):
            self.tree.replace(script, 'echo "$(basename "$0") $*"\n')
        shutil.copytree(ROOT / "tests/harness", self.tree.root / "tests/harness")
        self.tree.link("tests/tooling/lint_test.py", "/dev/null")
        self.tree.link("bin/ctest", "/bin/true")
        self.tree.environment["PATH"] = f"{self.tree.root}/bin:{os.environ['PATH']}"

    def run_all(self):
        """Returns the exit status and the output."""
        result = subprocess.run(
            [self.tree.root / "script/test", "--all"],
            env=self.tree.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=SECONDS,
            check=False,
        )
        return result.returncode, result.stdout

    def test_passes_when_all_lanes_pass(self):
        status, output = self.run_all()
        self.assertEqual(status, 0, output)
        self.assertIn("\n== lane lint ==\nlint \nAll lanes passed: desk", output)

    def test_fails_with_a_lane(self):
        for script, lane in (("build", "desk"), ("fuzz", "fuzz"), ("lint", "lint")):
            with self.subTest(lane=lane):
                text = (self.tree.root / "script" / script).read_text(encoding="utf-8")
                self.tree.replace(script, "echo found something\nexit 3\n")
                status, output = self.run_all()
                self.assertEqual(status, 3, output)
                self.assertRegex(output, f"== lane {lane} ==\n(.*\n)*found something\n$")
                (self.tree.root / "script" / script).write_text(text, encoding="utf-8")

    def test_ends_the_lint_when_another_lane_fails(self):
        self.tree.replace("lint", "echo $$ >build/pid\nexec sleep 100\n")
        self.tree.replace("build", "while ! [ -s build/pid ]; do sleep 0.01; done\nexit 3\n")
        self.assertEqual(self.run_all()[0], 3)
        pid = int((self.tree.root / "build/pid").read_text(encoding="utf-8"))
        with self.assertRaises(ProcessLookupError):
            for _ in range(SECONDS * 100):
                os.kill(pid, 0)
                subprocess.run(["sleep", "0.01"], check=True)


if __name__ == "__main__":
    unittest.main(verbosity=2)
