#!/usr/bin/env python3
"""Shows that sessions.py finds what is wrong in a guide, and passes what is right.

sessions_test.py BIN_DIR
"""

import os
import subprocess
import sys
import tempfile
import unittest

ARGUMENTS = []

PING = "<!-- service: --quiet -->\n```console\n$ SubtitleMgrCli -p\nLet's Ping\n%s\n```\n"
with open(
    os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "sessions", "texts", "menu.txt"),
    encoding="utf-8",
) as menu_file:
    MENU = menu_file.read().replace("{1}", "unsubscribed")


class Sessions(unittest.TestCase):
    def check(self, guide):
        """The exit status and what was said."""
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "guide.md")
            with open(path, "w", encoding="utf-8") as file:
                file.write(guide)
            runner = os.path.join(os.path.dirname(os.path.abspath(__file__)), "sessions.py")
            split = ARGUMENTS.index("--") if "--" in ARGUMENTS else len(ARGUMENTS)
            command = [sys.executable, runner] + ARGUMENTS[:split] + [path] + ARGUMENTS[split:]
            result = subprocess.run(
                command, capture_output=True, text=True, timeout=100, check=False
            )
            return result.returncode, result.stdout

    def test_pass_when_they_are_right(self):
        self.assertEqual(self.check(PING % "Successful Ping")[0], 0)

    def test_fail_when_a_word_is_wrong(self):
        status, said = self.check(PING % "Successful Pong")
        self.assertEqual(status, 1)
        self.assertIn("Successful Ping", said)

    def test_fail_when_a_line_is_missing(self):
        self.assertEqual(self.check(PING.replace("%s\n", ""))[0], 1)

    def test_fail_when_there_are_none(self):
        self.assertEqual(self.check("Text alone.\n")[0], 1)

    def test_type_what_stands_behind_menus_and_prompts(self):
        session = "```console\n$ SubtitleMgrCli -i\n%s6\nEnter region ID: 3\n[...]\nx\n```\n" % MENU
        self.assertEqual(self.check(session)[0], 0)

    def test_fail_when_a_menu_is_wrong(self):
        session = "```console\n$ SubtitleMgrCli -i\n%sx\n```\n" % MENU.replace("dynamic", "other")
        self.assertEqual(self.check(session)[0], 1)


if __name__ == "__main__":
    ARGUMENTS = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
