#!/usr/bin/env python3
"""Calls every script with --help."""

import os
import re
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from script_tree import ROOT, ScriptTree

SCRIPTS = sorted(path.name for path in (ROOT / "script").iterdir())
COLUMNS = 100
SECONDS = 10
# The only programs that a script may start for its help.
COMMANDS = ("sh", "sed")
# These scripts pass their options to these programs.
PROGRAMS = {"faults": "tests/resilience/faults/main.py", "mutants": "tests/mutants/mutants.py"}


class Help(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)

    def help(self, script, *words):
        """Returns the script's output in an environment with very few commands."""
        bin_dir = self.tree.caller / "bin"
        bin_dir.mkdir(exist_ok=True)
        for command in COMMANDS:
            if not (bin_dir / command).exists():
                (bin_dir / command).symlink_to(shutil.which(command))
        before = self.tree.files()
        result = subprocess.run(
            [self.tree.root / "script" / script, *words],
            cwd=self.tree.caller,
            env={"PATH": str(bin_dir), "TMPDIR": str(self.tree.tmp)},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=SECONDS,
            check=False,
        )
        self.assertEqual(result.stderr, "")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.tree.files(), before, "files were added or removed")
        return result.stdout

    def test_has_one_form(self):
        self.assertIn("console", SCRIPTS)
        for script in SCRIPTS:
            with self.subTest(script):
                text = self.help(script, "--help")
                usage, _, rest = text.partition("\n")
                self.assertRegex(usage, rf"^Usage: script/{script}( |$)")
                self.assertRegex(rest, r"^( +script/\S.*\n)*[A-Z][^.]*\.")
                self.assertRegex(text, r"\n\n(  \S.*\n| {6,}\S.*\n)*  --help +shows this text\n$")
                for line in text.splitlines():
                    self.assertLessEqual(len(line), COLUMNS, line)

    def test_is_shown_after_other_words_as_well(self):
        for script in SCRIPTS:
            with self.subTest(script):
                self.assertEqual(self.help(script, "1", "--help"), self.help(script, "--help"))

    def test_lists_the_options_of_the_program(self):
        for script, program in PROGRAMS.items():
            listing = subprocess.run(
                [sys.executable, ROOT / program, "--help"],
                env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"},
                capture_output=True,
                text=True,
                timeout=SECONDS,
                check=True,
            ).stdout
            options = set(re.findall(r"^ +(?:-\w(?: \S+)?, )?(--\w+)", listing, re.MULTILINE))
            self.assertIn("--seed", options)
            text = self.help(script, "--help")
            for option in sorted(options):
                with self.subTest(script=script, option=option):
                    self.assertRegex(text, rf"\n  {option} ")


if __name__ == "__main__":
    unittest.main(verbosity=2)
