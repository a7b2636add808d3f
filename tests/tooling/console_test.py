#!/usr/bin/env python3
"""Runs script/console from another directory: console_test.py BIN_DIR, with the two programs."""

import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import sys
import threading
import unittest
import urllib.error
import urllib.request

sys.dont_write_bytecode = True
from script_tree import ROOT, ScriptTree

BIN_DIR = None
SECONDS = 20


class Console(unittest.TestCase):
    def setUp(self):
        self.tree = ScriptTree()
        self.addCleanup(self.tree.close)
        self.tree.replace("build", "exit 0\n")
        self.tree.link("build/desk/bin", pathlib.Path(BIN_DIR).resolve())
        self.tree.link("simulator", ROOT / "simulator")

    def start(self, *options):
        console = subprocess.Popen(
            [self.tree.root / "script/console", *options],
            cwd=self.tree.caller,
            env=self.tree.environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            start_new_session=True,
        )
        limit = threading.Timer(SECONDS, self.end, [console])
        limit.start()
        self.addCleanup(self.stop, console, limit)
        return console

    def end(self, console):
        """Ends the script and its client, which does not end at the end of its input."""
        if console.poll() is None:
            os.killpg(console.pid, signal.SIGTERM)

    def stop(self, console, limit):
        limit.cancel()
        self.end(console)
        console.wait(SECONDS)
        for stream in (console.stdin, console.stdout, console.stderr):
            stream.close()

    def run_console(self, keys, *options):
        """Types keys. Returns the script's standard output and standard error."""
        console = self.start(*options)
        output, errors = console.communicate(keys)
        self.assertEqual(console.returncode, 0, errors)
        return output, errors

    def logs(self):
        return list((self.tree.root / "build/console").iterdir())

    def test_keeps_the_directory_of_the_caller_and_the_entries_of_the_log(self):
        (self.tree.caller / "rgb.palette").write_bytes(bytes(1024))
        keys = "5\n1\nrgb.palette\ny\nn\n3\n1\nno.such.file\n4\nx\n"
        output, errors = self.run_console(keys)
        self.assertTrue((self.tree.caller / "rgb.palette.out").exists(), output)
        (log,) = self.logs()
        self.assertIn("Error opening file no.such.file", log.read_text(encoding="utf-8"))
        self.assertEqual(errors.count(str(log)), 1, errors)

    def test_removes_an_empty_log_and_its_other_files(self):
        self.run_console("x\n")
        self.assertEqual(self.logs(), [])
        self.assertEqual(list(self.tree.tmp.iterdir()), [])

    def find_in_errors(self, console, pattern):
        """Reads the script's standard error until there is a match."""
        errors = ""
        while not (match := re.search(pattern, errors, re.MULTILINE)):
            text = console.stderr.readline()
            self.assertNotEqual(text, "", errors)
            errors += text
        return match

    def test_prints_the_line_with_which_a_second_client_joins(self):
        console = self.start()
        line = self.find_in_errors(console, r"^  (LINX_DIR=\S+ \S+SubtitleMgrCli) -i\n")
        # The menu appears when the service runs.
        self.assertEqual(console.stdout.readline(), "\n")
        second = subprocess.run(
            ["env", *shlex.split(line[1]), "-p"],
            cwd="/",
            capture_output=True,
            text=True,
            timeout=SECONDS,
            check=True,
        )
        self.assertEqual(second.stdout, "Let's Ping\nSuccessful Ping\n")
        console.communicate("x\n")

    def test_fails_when_it_is_ended_from_outside(self):
        console = self.start()
        self.assertEqual(console.stdout.readline(), "\n")
        console.terminate()
        console.communicate("x\n")
        self.assertEqual(console.returncode, 1)
        self.assertEqual(list(self.tree.tmp.iterdir()), [])

    def test_serves_a_page_that_ends_with_the_console(self):
        console = self.start("--view")
        address = self.find_in_errors(console, r"^  (http://127\.0\.0\.1:\d+/)\n")[1]
        with urllib.request.urlopen(address + "about", timeout=SECONDS) as answer:
            about = json.load(answer)
        self.assertEqual((about["live"], about["source"]), (True, "SubtitleMgr"))
        console.communicate("x\n")
        self.assertEqual(console.returncode, 0)
        with self.assertRaises(urllib.error.URLError):
            urllib.request.urlopen(address, timeout=SECONDS)
        self.assertEqual(list(self.tree.tmp.iterdir()), [])

    def test_leaves_the_short_help_to_the_client(self):
        output, _ = self.run_console("", "-h")
        self.assertTrue(output.startswith("Usage: SubtitleMgrCli\n"), output)


if __name__ == "__main__":
    BIN_DIR = sys.argv[1]
    unittest.main(argv=sys.argv[:1], verbosity=2)
