#!/usr/bin/env python3
"""Runs script/demo in a source tree, to its end and not: demo_test.py BIN_DIR."""

import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ScriptTree

BIN_DIR = None
SECONDS = 30  # longer, it is no demo


class Demo(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.replace("build", "exit 0\n")
        self.tree.link("build/desk/bin", pathlib.Path(BIN_DIR).resolve())

    def run_demo(self, after="no line", act=None):
        """Acts on the demo after a line. Returns its status when nothing of it is left."""
        with subprocess.Popen(
            ["timeout", str(SECONDS), self.tree.root / "script/demo"],
            cwd=self.tree.caller,
            env={**self.tree.environment, "LC_ALL": "C.UTF-8"},
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        ) as demo:
            for line in demo.stdout:
                if line.startswith(after):
                    act(demo)
                    break
            demo.stderr.read()  # until all its processes have ended
            status = demo.wait()
        self.assertEqual(list(self.tree.tmp.iterdir()), [])
        return status

    def test_leaves_nothing_at_its_end(self):
        self.assertEqual(self.run_demo(), 0)

    def test_leaves_nothing_when_it_is_ended(self):
        self.assertNotEqual(self.run_demo("region 3", subprocess.Popen.terminate), 0)

    def test_leaves_nothing_when_its_output_is_closed(self):
        self.assertNotEqual(self.run_demo("ready", lambda demo: demo.stdout.close()), 0)


if __name__ == "__main__":
    BIN_DIR = sys.argv[1]
    unittest.main(argv=sys.argv[:1], verbosity=2)
