#!/usr/bin/env python3
"""Runs the demos, to their end and not; they leave nothing: demo_test.py BIN_DIR."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ScriptTree

BIN_DIR = pathlib.Path(sys.argv.pop(1)).resolve()
SECONDS = 30  # longer, it is no demo


def close_output(demo):
    demo.stdout.close()


class Demo(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.replace("build", "exit 0\n")
        self.tree.link("build/desk/bin", BIN_DIR)

    def run_demo(self, *command, after="no line", act=None):
        """Acts on the demo after a line. Returns its status and what it printed."""
        text = ""
        with subprocess.Popen(
            ["timeout", str(SECONDS), self.tree.root / "script" / command[0], *command[1:]],
            cwd=self.tree.caller,
            env={**self.tree.environment, "LC_ALL": "C.UTF-8"},
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        ) as demo:
            for line in demo.stdout:
                text += line
                if line.startswith(after):
                    act(demo)
                    break
            errors = demo.stderr.read()  # until all its processes have ended
            status = demo.wait()
        self.assertEqual(list(self.tree.tmp.iterdir()), [])
        self.assertEqual(self.processes(), [])
        return status, text + errors

    def processes(self):
        """The processes that have inherited the folder of this test."""
        mark = b"TMPDIR=" + os.fsencode(self.tree.tmp)
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if mark in (folder / "environ").read_bytes():
                    found.append((folder / "cmdline").read_bytes())
            except (FileNotFoundError, ProcessLookupError, PermissionError):
                pass  # the process has ended, or belongs to another user
        return found

    def test_leaves_nothing_at_its_end(self):
        status, text = self.run_demo("demo")
        self.assertEqual(status, 0, text)

    def test_leaves_nothing_when_it_is_ended(self):
        status, _ = self.run_demo("demo", after="region 3", act=subprocess.Popen.terminate)
        self.assertNotEqual(status, 0)

    def test_leaves_nothing_when_its_output_is_closed(self):
        self.assertNotEqual(self.run_demo("demo", after="ready", act=close_output)[0], 0)

    def test_of_another_machine_leaves_nothing_when_its_output_is_closed(self):
        programs = [BIN_DIR / name for name in ("SubtitleMgrCli", "SubtitleMgrSim")]
        _, text = self.run_demo("remote-demo", *programs, after="== ", act=close_output)
        scratch = re.search(r"a service in (/tmp/remote\.\w+)/", text)[1]
        self.assertFalse(os.path.exists(scratch))


if __name__ == "__main__":
    unittest.main(verbosity=2)
