#!/usr/bin/env python3
"""Shows that transcripts.py finds errors in a guide, and passes a correct guide.

transcripts_test.py BIN_DIR
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

BIN_DIR = sys.argv.pop(1)
HERE = pathlib.Path(__file__).resolve().parent
MENU = (HERE / "../sessions/texts/menu.txt").read_text().replace("{1}", "unsubscribed")

PING = (
    "<!-- service: --quiet -->\n```console\n$ SubtitleMgrCli -p\nLet's Ping\nSuccessful Ping\n```\n"
)
KEYS = "```console\n$ SubtitleMgrCli -i\n%s\n6\nEnter region ID: 3\n[...]\nx\n```\n" % MENU[:-1]
SERVICE = "```console\n$ SubtitleMgrSim --quiet &\nready\n$ SubtitleMgrCli -p -q >file\n"
SERVICE += "Shut down Requested\n$ wait; echo $?\n0\n```\n"
EXPORT = '```sh\nexport PATH="$PWD/build/desk/bin:$PATH"\n```\n'


class Transcripts(unittest.TestCase):
    def check(self, guide, seconds="20"):
        """Returns the exit status and the output."""
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "guide.md")
            pathlib.Path(path).write_text(guide, encoding="utf-8")
            result = subprocess.run(
                [sys.executable, HERE / "transcripts.py", BIN_DIR, path],
                env={**os.environ, "SUBTITLE_TEST_SECONDS": seconds},
                capture_output=True,
                text=True,
                timeout=100,
                check=False,
            )
            return result.returncode, result.stdout

    def test_pass_when_they_are_right(self):
        for guide in (PING, KEYS, SERVICE, EXPORT + PING):
            self.assertEqual(self.check(guide)[0], 0, guide)

    def test_fail_at_a_difference(self):
        for guide, right, wrong in (
            (PING, "Successful Ping", "Successful Pong"),
            (PING, "Successful Ping\n", ""),
            (PING, "Successful Ping\n", "Successful Ping\nMore\n"),
            (KEYS, "dynamic", "other"),
            (KEYS, "region ID", "region"),
            (EXPORT + PING, "/bin:", "/no:"),
        ):
            with self.subTest(wrong=wrong):
                self.assertIn(right, guide)
                status, output = self.check(guide.replace(right, wrong), "1")
                self.assertEqual(status, 1)
                self.assertLess(output.count("\n"), 12)

    def test_show_the_line_that_differs(self):
        output = self.check(PING.replace("Successful Ping", "Successful Pong"))[1]
        self.assertIn("\n-Successful Pong\n+Successful Ping\n", output)

    def test_fail_when_there_are_none(self):
        self.assertEqual(self.check("Text alone.\n")[0], 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
