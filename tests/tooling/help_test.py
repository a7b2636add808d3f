#!/usr/bin/env python3
"""Calls every script with --help."""

import re
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ROOT, ScriptTree

COLUMNS = 100
# The only programs that a script may start for its help.
COMMANDS = ("sh", "sed")
# These scripts pass their options to these programs.
PROGRAMS = {"faults": "tests/resilience/faults/main.py", "mutants": "tests/mutants/mutants.py"}


class Help(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.bin_dir = self.tree.caller / "bin"
        self.bin_dir.mkdir()
        for command in COMMANDS:
            (self.bin_dir / command).symlink_to(shutil.which(command))

    def help(self, script, *words):
        """Returns the script's output in an environment with very few commands."""
        result = subprocess.run(
            [self.tree.root / "script" / script, *words],
            cwd=self.tree.caller,
            env={"PATH": str(self.bin_dir), "TMPDIR": str(self.tree.tmp)},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=10,
            check=False,
        )
        self.assertEqual((result.returncode, result.stderr), (0, ""), script)
        return result.stdout

    def test_has_one_form_and_no_effect(self):
        before = self.tree.files()
        scripts = sorted(path.name for path in (ROOT / "script").iterdir())
        self.assertIn("console", scripts)
        for script in scripts:
            with self.subTest(script):
                text = self.help(script, "--help")
                usage, _, rest = text.partition("\n")
                self.assertRegex(usage, rf"^Usage: script/{script}( |$)")
                self.assertRegex(rest, r"^( +script/\S.*\n)*[A-Z][^.]*\.")
                self.assertRegex(text, r"\n\n(  \S.*\n| {6,}\S.*\n)*  --help +shows this text\n$")
                self.assertLessEqual(max(map(len, text.splitlines())), COLUMNS)
                self.assertEqual(self.help(script, "1", "--help"), text)
        self.assertEqual(self.tree.files(), before, "files were added or removed")

    def test_lists_the_options_of_the_program(self):
        for script, program in PROGRAMS.items():
            command = [sys.executable, "-B", ROOT / program, "--help"]
            listing = subprocess.run(command, capture_output=True, text=True, check=True).stdout
            options = set(re.findall(r"^ +(?:-\w(?: \S+)?, )?(--\w+)", listing, re.MULTILINE))
            self.assertIn("--seed", options)
            text = self.help(script, "--help")
            self.assertEqual(options - set(re.findall(r"\n  (--\w+) ", text)), set(), script)


if __name__ == "__main__":
    unittest.main(verbosity=2)
