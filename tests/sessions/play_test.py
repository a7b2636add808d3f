#!/usr/bin/env python3
"""Shows that play.py finds a difference in each kind of expectation, and prints its line.

play_test.py PROGRAMS
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = sys.argv.pop(1)
PLAY = os.path.join(os.path.dirname(os.path.abspath(__file__)), "play.py")

RIGHT = """\
=== Right
--- file pal: 1024*00
--- console -p -i
Let's Ping
Successful Ping
{menu unsubscribed}
<5 2 pal t f k>
Enter region ID:   Enter filename:    RGB palette (t/f): Converting palette of size 1024...Done

Transparent pixel? (t/f): {menu unsubscribed}
! Shut down Requested
Quit issued
{menu unsubscribed}
=> service ends
<x>
--- requests
Ping
SetPaletteData regionId=2 fill=false backgroundCode=1: 256*(10 80 80 00)
Quit
--- log
level=8 SubtitleRegion::UpdateRegionFile() - Successfully opened file pal
level=8 Successfully opened output file pal.out
--- file pal.out: 256*(10 80 80 00)
"""
ENDLESS = """\
=== Right
--- on pipe
--- console
{menu unsubscribed}
<s>
{for ever}
{report}
{menu unsubscribed}
"""
OUTPUT = "standard output differs"
STREAM = "standard (output|error) differs"  # on a terminal they are one
LEAVE_A_FILE = "through sh -c 'touch $LINX_DIR/left; exec \"$@\"' sh\n"
# Changes of a correct session: old text, new text, the number of the reported line (the session's
# head is 1) and the message.
PLANTED = [
    ("Successful Ping", "Successful Pong", 5, OUTPUT),
    ("! Shut down Requested\n", "", None, STREAM),
    ("<x>\n", "<x>\nMore\n", 16, OUTPUT),
    ("Ping\nSetPalette", "SetPalette", 17, "the requests differ from number 1 on"),
    ("1: 256*(10 80 80 00)", "1: 256*(10 80 80 01)", 18, "the requests differ from number 2 on"),
    ("level=8 Succ", "level=2 Succ", 22, "the log entries differ from number 2 on"),
    ("pal.out: 256*(10", "pal.out: 256*(11", 23, "file 'pal.out' differs at byte 0"),
    ("--- file pal.out: 256*(10 80 80 00)\n", "", 1, "a file 'pal.out' was made"),
    ("--- file pal.out", "--- file none: 00\n--- file pal.out", 23, "there is no file 'none'"),
    ("--- requests", "--- exits SIGINT\n--- requests", 3, "the client ends with 0"),
    ("console", LEAVE_A_FILE + "--- console", 1, r"the messaging directory .* \['left'\]"),
    ("=> service ends", "=> service sleeps", 14, "no such event: service sleeps"),
    ("pal: 1024*00", "pal: 1024*0", 2, "not bytes: 0"),
]
PLANTED_ENDLESS = [
    ("<s>", "<s>\n{report}\n{menu unsubscribed}\n<x>", 3, "the client ends"),
    ("{report}\n", "", 7, OUTPUT),
]
HANGING = (
    "=== Hangs\n--- fifo pipe\n--- console\n{menu unsubscribed}\n<3 3 pipe 4>\n"
    "Enter region ID: Enter filename:  Enter file size: {menu unsubscribed}\n<x>\n"
)


def play(sessions, *options, seconds="20"):
    """Plays sessions of a file. Returns the exit status and the output."""
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "planted.session"), "w", encoding="utf-8") as file:
            file.write(sessions)
        result = subprocess.run(
            [sys.executable, PLAY, "--programs", PROGRAMS, "--folder", folder, *options],
            env={**os.environ, "SUBTITLE_TEST_SECONDS": seconds},
            capture_output=True,
            text=True,
            timeout=100,
            check=False,
        )
        return result.returncode, result.stdout + result.stderr


class Play(unittest.TestCase):
    """Plays planted sessions; one process plays all of them."""

    def test_passes_correct_sessions(self):
        status, said = play(RIGHT + ENDLESS.replace("Right", "Endless"))
        self.assertEqual((status, said[:17]), (0, "0 of 3 sessions f"), said)

    def test_finds_each_planted_difference_and_its_line(self):
        text, places = "", []
        for session, planted in ((RIGHT, PLANTED), (ENDLESS, PLANTED_ENDLESS)):
            for before, after, line, what in planted:
                name = "Number%d" % len(places)
                self.assertEqual(session.count(before), 1, before)
                head = text.count("\n")
                text += session.replace("Right", name, 1).replace(before, after)
                places.append((name, session is RIGHT, head + line if line else None, what))
        said = play(text)[1]
        for name, on_both, line, what in places:
            for medium in ("pipe", "terminal") if on_both else ("pipe",):
                with self.subTest(planted=name, medium=medium):
                    found = re.search(
                        r"^planted\.%s fails on a %s:\n\S*planted\.session:(\d+): "
                        r"(.*)\n((?:(?!    again).*\n)*)    again: .* planted\.%s$"
                        % (name, medium, name),
                        said,
                        re.MULTILINE,
                    )
                    self.assertTrue(found, said[-3000:])
                    self.assertEqual(int(found[1]), line or int(found[1]), found[0])
                    self.assertRegex(found[2], what)
                    self.assertLessEqual(found[3].count("\n"), 5, found[0])

    def test_ends_a_client_that_hangs(self):
        status, said = play(HANGING, "--on", "pipe", seconds="1")
        self.assertEqual(status, 1)
        self.assertIn("planted.session:6: standard output differs\n", said)


if __name__ == "__main__":
    unittest.main(verbosity=2)
